// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/server.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "board/daemon/connections.h"
#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

constexpr const char *log_path = "/dev/log";

Refusal failed(const std::string &path)
{
    return Refusal(path + ": " + std::strerror(errno), false);
}

sockaddr_un address_of(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw Refusal("the socket's path is too long: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

const sockaddr *generic(const sockaddr_un &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

// False when somebody listens there. A socket file that is left from a board that was killed refuses the
// connection and is removed. Whatever else is in the way (another type of socket, a full queue) stays: bind
// fails.
bool make_free(const std::string &path, int type)
{
    const sockaddr_un address = address_of(path);
    const int probe = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0)
        throw failed(path);
    const int error = connect(probe, generic(address), sizeof address) == 0 ? 0 : errno;
    close(probe);
    if (error == ECONNREFUSED)
        unlink(path.c_str());
    return error != 0;
}

// The bound socket, or -1.
int bound_socket(const std::string &path, int type)
{
    const sockaddr_un address = address_of(path);
    const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return -1;
    if (bind(descriptor, generic(address), sizeof address) == 0 &&
        (type == SOCK_DGRAM || listen(descriptor, SOMAXCONN) == 0))
        return descriptor;
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

class Listener : public Source
{
  public:
    using Make = std::function<std::unique_ptr<Source>(int descriptor)>;

    Listener(int descriptor, Server &server, Make make)
        : Source(descriptor), server_(server), make_(std::move(make))
    {
    }
    short wanted() const override { return server_.full() ? 0 : POLLIN; }
    bool serve(short) override
    {
        const int accepted = accept4(descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        if (accepted >= 0)
            server_.add(make_(accepted));
        return true;
    }

  private:
    Server &server_;
    Make make_;
};

// SIGTERM and SIGINT, taken as messages from now on.
class EndingSignals : public Source
{
  public:
    explicit EndingSignals(bool &ended) : Source(signalfd(-1, blocked(), SFD_CLOEXEC)), ended_(ended) {}
    bool serve(short) override
    {
        ended_ = true;
        return true;
    }

  private:
    static const sigset_t *blocked()
    {
        static sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        return &signals;
    }

    bool &ended_;
};

} // namespace

Source::~Source()
{
    close(descriptor_);
}

short Source::wanted() const
{
    return POLLIN;
}

Server::Server(Appliance &appliance, const std::string &folder) : appliance_(appliance)
{
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    const auto listen_at = [&](const std::string &path, int type, Listener::Make make) {
        if (!make_free(path, type))
            throw Refusal("another board already runs at " + path, false);
        const int descriptor = bound_socket(path, type);
        if (descriptor < 0)
            throw failed(path);
        paths_.push_back(path);
        add(std::make_unique<Listener>(descriptor, *this, std::move(make)));
    };
    listen_at(folder + "/control.sock", SOCK_STREAM,
              [&](int peer) { return std::make_unique<ControlConnection>(peer, appliance_); });
    listen_at(folder + "/devices.sock", SOCK_SEQPACKET,
              [&](int peer) { return std::make_unique<DeviceConnection>(peer, appliance_.board); });
    if (const int log = make_free(log_path, SOCK_DGRAM) ? bound_socket(log_path, SOCK_DGRAM) : -1; log >= 0) {
        paths_.emplace_back(log_path);
        add(std::make_unique<LogSocket>(log, appliance_.board.timeline()));
        chmod(log_path, 0666); // as system logs are: every process may write
    }
    add(std::make_unique<EndingSignals>(ended_)); // here, so that none ends it between "ready" and run()
    appliance_.board.timeline().listen([this](const Event &event) {
        for (const auto &source : sources_)
            if (source) // not closed in this round
                source->notice(event);
    });
}

Server::~Server()
{
    appliance_.board.timeline().listen({});
    for (const std::string &path : paths_)
        unlink(path.c_str());
}

void Server::add(std::unique_ptr<Source> source)
{
    added_.push_back(std::move(source));
}

void Server::run()
{
    while (!ended_)
        serve_once();
}

void Server::serve_once()
{
    for (auto &source : std::exchange(added_, {}))
        sources_.push_back(std::move(source));
    std::vector<pollfd> polled;
    for (const auto &source : sources_)
        polled.push_back({source->descriptor(), source->wanted(), 0});
    if (poll(polled.data(), polled.size(), -1) < 0)
        return;
    for (std::size_t i = 0; i < polled.size(); ++i)
        if (polled[i].revents != 0 && !sources_[i]->serve(polled[i].revents))
            sources_[i].reset();
    std::erase(sources_, nullptr);
}

} // namespace plexor::board
