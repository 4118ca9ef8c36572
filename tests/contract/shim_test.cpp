// SPDX-License-Identifier: Apache-2.0
// The preloaded shim against a daemon of a few lines. The shim is loaded beside the tests instead of before
// them, and its functions are called by their addresses.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "board/interpose/wire.h"

namespace plexor::board
{
namespace
{

constexpr const char *folder = "/tmp";

class Shim : public testing::Test
{
  protected:
    using Answer = Bytes (*)(const Request &);

    Shim()
    {
        setenv("PLEXOR_BOARD_DIR", folder, 1);
        EXPECT_NE(library_, nullptr) << dlerror();
    }
    ~Shim() override
    {
        if (daemon_.joinable())
            daemon_.join();
        ::close(listener_);
        unlink(devices_socket().c_str());
        unsetenv("PLEXOR_BOARD_DIR");
    }

    // Takes one connection, answers its open with error and each request with answer, until it hangs up.
    void serve_one(int error, Answer answer)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, devices_socket().c_str());
        listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener_, 1), 0);
        daemon_ =
            std::thread([this, error, answer] { talk(accept(listener_, nullptr, nullptr), error, answer); });
    }

    int open(const char *path, int flags) { return call<int(const char *, int, ...)>("open")(path, flags); }
    int close(int descriptor) { return call<int(int)>("close")(descriptor); }
    template <class Argument>
    int ioctl(int descriptor, unsigned long number, Argument argument)
    {
        return call<int(int, unsigned long, ...)>("ioctl")(descriptor, number, argument);
    }

    void wait_for_hang_up() { daemon_.join(); }
    std::optional<Device> opened() const { return opened_; }

  private:
    template <class Function>
    Function *call(const char *name)
    {
        return reinterpret_cast<Function *>(dlsym(library_, name));
    }

    static Bytes receive(int peer)
    {
        Bytes message(max_message);
        const ssize_t length = recv(peer, message.data(), message.size(), 0);
        message.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return message;
    }

    void talk(int peer, int error, Answer answer)
    {
        opened_ = decode_open(receive(peer));
        Reply reply;
        reply.error = error;
        Bytes message = encode(reply);
        send(peer, message.data(), message.size(), MSG_NOSIGNAL);
        while (const auto request = decode_request(receive(peer))) {
            message = answer(*request);
            if (message.empty())
                break;
            send(peer, message.data(), message.size(), MSG_NOSIGNAL);
        }
        ::close(peer);
    }

    void *library_{dlopen(PLEXOR_SHIM, RTLD_NOW | RTLD_LOCAL)};
    int listener_{-1};
    std::thread daemon_{};
    std::optional<Device> opened_{};
};

Bytes echo_value(const Request &request)
{
    Reply reply;
    reply.data = {static_cast<std::uint8_t>(request.number), 0, 0, 0};
    return encode(reply);
}

Bytes refuse(const Request &)
{
    Reply reply;
    reply.error = ETIMEDOUT;
    return encode(reply);
}

Bytes hang_up(const Request &)
{
    return {};
}

Bytes talk_nonsense(const Request &)
{
    return {1, 2, 3};
}

TEST_F(Shim, CarriesRequestsToTheDaemonAndAnswersBack)
{
    serve_one(0, echo_value);
    std::uint32_t word = 0;
    const int gpio = open("/dev/gpio", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(gpio, 0);
    EXPECT_EQ(ioctl(gpio, 82, &word), 0);
    EXPECT_EQ(word, 82U);
    EXPECT_EQ(close(gpio), 0);
    wait_for_hang_up();
    EXPECT_EQ(opened(), Device::gpio);
}

TEST_F(Shim, ClosesOnExecWhenAsked)
{
    for (const int flag : {0, O_CLOEXEC}) {
        serve_one(0, echo_value);
        const int bus = open("/dev/i2cM0", O_RDONLY | flag);
        EXPECT_EQ(fcntl(bus, F_GETFD), flag == 0 ? 0 : FD_CLOEXEC);
        close(bus);
        wait_for_hang_up();
        unlink(devices_socket().c_str());
    }
}

TEST_F(Shim, FindsNoDeviceWithoutADaemon)
{
    EXPECT_EQ(open("/dev/spiS0", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Shim, FailsAnOpenAsTheDaemonSays)
{
    serve_one(ENODEV, echo_value);
    EXPECT_EQ(open("/dev/spiS0", O_RDONLY), -1);
    EXPECT_EQ(errno, ENODEV);
    wait_for_hang_up();
    EXPECT_EQ(opened(), Device::relays);
}

TEST_F(Shim, FailsARequestAsTheDaemonSays)
{
    serve_one(0, refuse);
    const int gpio = open("/dev/gpio", O_RDONLY);
    EXPECT_EQ(ioctl(gpio, 18, 1UL), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    close(gpio);
}

TEST_F(Shim, FailsRequestsWithAnInputErrorWhenTheDaemonGoes)
{
    serve_one(0, hang_up);
    const int gpio = open("/dev/gpio", O_RDONLY);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ioctl(gpio, 18, 1UL), -1);
        EXPECT_EQ(errno, EIO);
    }
    close(gpio);
}

TEST_F(Shim, TakesNonsenseForAnInputError)
{
    serve_one(0, talk_nonsense);
    std::uint32_t word = 7;
    const int gpio = open("/dev/gpio", O_RDONLY);
    EXPECT_EQ(ioctl(gpio, 2, &word), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(word, 7U);
    close(gpio);
}

TEST_F(Shim, RefusesBadArgumentsItself)
{
    serve_one(0, echo_value);
    const int gpio = open("/dev/gpio", O_RDONLY);
    EXPECT_EQ(ioctl(gpio, 2, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    close(gpio);
}

TEST_F(Shim, LeavesOtherFilesAlone)
{
    int waiting = -1;
    const int file = open("/dev/null", O_RDONLY);
    ASSERT_GE(file, 0);
    EXPECT_EQ(ioctl(file, FIONREAD, &waiting), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(close(file), 0);
    EXPECT_EQ(close(file), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(Shim, ForgetsADeviceWhenItIsClosed)
{
    serve_one(0, echo_value);
    std::uint32_t word = 0;
    const int gpio = open("/dev/gpio", O_RDONLY);
    close(gpio);
    ASSERT_EQ(::open("/dev/null", O_RDONLY | O_CLOEXEC), gpio);
    EXPECT_EQ(ioctl(gpio, FIONREAD, &word), -1);
    EXPECT_EQ(errno, ENOTTY);
    ::close(gpio);
}

TEST_F(Shim, GivesEachThreadItsOwnAnswer)
{
    serve_one(0, echo_value);
    const int gpio = open("/dev/gpio", O_RDONLY);
    const auto ask = [this, gpio](std::uint32_t number) {
        for (int i = 0; i < 500; ++i) {
            std::uint32_t word = 0;
            EXPECT_EQ(ioctl(gpio, number, &word), 0);
            EXPECT_EQ(word, number);
        }
    };
    std::thread other(ask, 82);
    ask(98);
    other.join();
    close(gpio);
}

} // namespace
} // namespace plexor::board
