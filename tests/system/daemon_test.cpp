// SPDX-License-Identifier: Apache-2.0
// plexor-board as a program, at its sockets. Runs in namespaces of its own: the board takes /dev/log and
// removes shared memory by fixed keys.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "board/daemon/control_client.h"
#include "board/daemon/refusal.h"
#include "board/interpose/wire.h"
#include "board/nvram/store.h"
#include "tests/system/processes.h"

namespace plexor::tests
{

using board::Bytes;
using board::ControlClient;
using board::Device;
using nlohmann::json;

// A connection without manners: sends any bytes, and waits for what comes back at most five seconds.
class Peer
{
  public:
    Peer(int type, const std::string &path) : descriptor_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size());
        connected_ = connect(descriptor_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
        const timeval limit{5, 0};
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~Peer() { close(descriptor_); }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    int descriptor() const { return descriptor_; }
    bool connected() const { return connected_; }
    bool send(const void *data, std::size_t size)
    {
        return ::send(descriptor_, data, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }
    bool send(const Bytes &message) { return send(message.data(), message.size()); }
    bool send(const std::string &text) { return send(text.data(), text.size()); }

    std::string receive() // "" at the end of the connection
    {
        std::string text(256 * 1024, '\0');
        const ssize_t size = recv(descriptor_, text.data(), text.size(), 0);
        EXPECT_FALSE(size < 0 && errno == EAGAIN) << "nothing came";
        text.resize(static_cast<std::size_t>(size < 0 ? 0 : size));
        return text;
    }
    std::string line()
    {
        while (received_.find('\n') == std::string::npos) {
            const std::string more = receive();
            if (more.empty())
                return "";
            received_ += more;
        }
        const auto end = received_.find('\n') + 1;
        std::string line = received_.substr(0, end);
        received_.erase(0, end);
        return line;
    }
    bool is_closed() { return receive().empty(); }
    bool hangs_up_within(int milliseconds)
    {
        pollfd peer{descriptor_, 0, 0};
        return poll(&peer, 1, milliseconds) == 1 && (peer.revents & POLLHUP) != 0;
    }

  private:
    int descriptor_;
    bool connected_{};
    std::string received_{};
};

class BoardDaemon : public ::testing::Test
{
  protected:
    BoardDaemon()
    {
        alarm(60);
        setenv("PLEXOR_APPLIANCE", "board", 1);
        setenv("PLEXOR_BOARD_DIR", folder_.path().c_str(), 1);
        setenv("PLEXOR_STORE", (folder_.path() + "/store").c_str(), 1);
    }
    ~BoardDaemon() override
    {
        if (daemon_ > 0)
            kill_child(daemon_);
        alarm(0);
    }

    static pid_t launch(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), PLEXOR_BOARD_PROGRAM);
        std::vector<char *> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string &argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        return child;
    }
    static int status_of(pid_t child)
    {
        int status = -1;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void start(const std::vector<std::string> &arguments = {"--latching"})
    {
        daemon_ = launch(arguments);
        for (int i = 0; i < 500 && !Peer(SOCK_SEQPACKET, devices()).connected(); ++i)
            usleep(10'000);
    }
    void start_in_background()
    {
        prctl(PR_SET_CHILD_SUBREAPER, 1); // the board's parent ends, and it becomes a child of this process
        ASSERT_EQ(status_of(launch({"--background"})), 0);
        std::ifstream("/proc/self/task/" + std::to_string(getpid()) + "/children") >> daemon_;
        ASSERT_GT(daemon_, 0);
    }
    int stop()
    {
        kill(daemon_, SIGTERM);
        return status_of(std::exchange(daemon_, 0));
    }

    std::string control() const { return folder_.path() + "/control.sock"; }
    std::string devices() const { return folder_.path() + "/devices.sock"; }
    json ask(const json &request) const { return ControlClient(control()).ask(request); }
    bool answers() const { return ask({{"command", "get"}, {"key", "power"}}).at("value") == "on"; }
    json last_event() const { return ask({{"command", "events"}}).at("events").back(); }

    ScratchFolder folder_{};
    pid_t daemon_{};
};

// A socket that somebody listens at, of whatever type.
class Occupant
{
  public:
    Occupant(int type, std::string path)
        : path_(std::move(path)), descriptor_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path_.c_str(), path_.size());
        unlink(path_.c_str()); // what a killed board left
        listening_ = bind(descriptor_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                     listen(descriptor_, 1) == 0;
        inode_ = inode();
    }
    ~Occupant()
    {
        close(descriptor_);
        unlink(path_.c_str());
    }
    Occupant(const Occupant &) = delete;
    Occupant &operator=(const Occupant &) = delete;

    bool listening() const { return listening_; }
    bool is_still_there() const { return inode_ != 0 && inode() == inode_; }

  private:
    ino_t inode() const
    {
        struct stat status {
        };
        return stat(path_.c_str(), &status) == 0 ? status.st_ino : 0;
    }

    std::string path_;
    int descriptor_;
    bool listening_{};
    ino_t inode_{};
};

int error_in(const std::string &message)
{
    const auto reply = board::decode_reply(Bytes(message.begin(), message.end()));
    return reply ? reply->error : -1;
}

board::Request close_outlet_1()
{
    board::Request request;
    request.device = Device::relays;
    request.number = 4;
    request.data = {0, 1, 0, 2, 8};
    return request;
}

TEST_F(BoardDaemon, AnOpenedDeviceAnswersRequestsAndTheTimelineNamesTheProcess)
{
    start();
    Peer device(SOCK_SEQPACKET, devices());
    ASSERT_TRUE(device.send(board::encode_open(Device::relays)));
    EXPECT_EQ(error_in(device.receive()), 0);
    ASSERT_TRUE(device.send(board::encode(close_outlet_1())));
    EXPECT_EQ(error_in(device.receive()), 0);
    EXPECT_EQ(ask({{"command", "get"}, {"key", "contacts"}}).at("value"), "on off off off off off off off");
    EXPECT_EQ(last_event().at("pid"), getpid());
}

TEST_F(BoardDaemon, ARefusedOpenSaysWhy)
{
    start();
    ask({{"command", "fault"}, {"name", "relays-absent"}, {"on", true}});
    Peer device(SOCK_SEQPACKET, devices());
    ASSERT_TRUE(device.send(board::encode_open(Device::relays)));
    EXPECT_EQ(error_in(device.receive()), ENOENT);
    ASSERT_TRUE(device.send(board::encode(close_outlet_1())));
    EXPECT_TRUE(device.is_closed());
}

TEST_F(BoardDaemon, AMessageOutOfPlaceClosesTheConnectionAndNothingElse)
{
    start();
    Peer bystander(SOCK_SEQPACKET, devices());
    ASSERT_TRUE(bystander.send(board::encode_open(Device::relays)));
    EXPECT_EQ(error_in(bystander.receive()), 0);
    const Bytes open = board::encode_open(Device::gpio);
    for (const Bytes &message : {Bytes{0}, Bytes(60'000, 0xFF), board::encode(close_outlet_1()), open}) {
        Peer device(SOCK_SEQPACKET, devices());
        if (message != open) { // out of place as the first message
            Peer first(SOCK_SEQPACKET, devices());
            ASSERT_TRUE(first.send(message));
            EXPECT_TRUE(first.is_closed());
        }
        ASSERT_TRUE(device.send(open)); // and as the second
        EXPECT_EQ(error_in(device.receive()), 0);
        ASSERT_TRUE(device.send(message));
        EXPECT_TRUE(device.is_closed());
    }
    ASSERT_TRUE(bystander.send(board::encode(close_outlet_1())));
    EXPECT_EQ(error_in(bystander.receive()), 0);
}

TEST_F(BoardDaemon, SeveralRequestsInOnePacketAreAnsweredInOrder)
{
    start();
    Peer peer(SOCK_STREAM, control());
    peer.send(
        "{\"command\":\"get\",\"key\":\"model\"}\njunk\n{\"command\":\"get\",\"key\":\"power\"}\n{\"comm");
    EXPECT_EQ(json::parse(peer.line()).at("value"), "00C302");
    EXPECT_EQ(json::parse(peer.line()).at("ok"), false);
    EXPECT_EQ(json::parse(peer.line()).at("value"), "on");
    peer.send("and\":\"power-up\"}\n");
    EXPECT_EQ(peer.line(), "{\"ok\":true}\n");
}

TEST_F(BoardDaemon, ALineWithoutEndIsRefusedAndTheConnectionClosed)
{
    start();
    Peer peer(SOCK_STREAM, control());
    ASSERT_TRUE(peer.send(std::string(64 * 1024 + 1, ' ')));
    EXPECT_EQ(json::parse(peer.line()).at("error"), "a request has at most 65536 characters");
    EXPECT_TRUE(peer.is_closed());
    EXPECT_TRUE(answers());
}

TEST_F(BoardDaemon, AFollowerSeesEventsAsTheyHappen)
{
    start();
    Peer follower(SOCK_STREAM, control());
    follower.send("{\"command\":\"events\",\"follow\":true}\n");
    EXPECT_EQ(json::parse(follower.line()).at("more"), false);
    ask({{"command", "fault"}, {"name", "i2c-stuck"}, {"on", true}});
    const json event = json::parse(follower.line()).at("event");
    EXPECT_EQ(event.at("kind"), "fault");
    EXPECT_EQ(event, last_event());
}

TEST_F(BoardDaemon, AFollowerThatAsksWhileAnEventHappensGetsBoth)
{
    start();
    Peer actor(SOCK_STREAM, control()); // served before the follower, for it came first
    actor.send("{\"command\":\"get\",\"key\":\"power\"}\n");
    EXPECT_NE(actor.line(), "");
    Peer follower(SOCK_STREAM, control());
    follower.send("{\"command\":\"events\",\"follow\":true}\n");
    EXPECT_NE(follower.line(), "");

    kill(daemon_, SIGSTOP); // both find it in the same round
    ASSERT_EQ(waitpid(daemon_, nullptr, WUNTRACED), daemon_);
    actor.send("{\"command\":\"fault\",\"name\":\"i2c-stuck\",\"on\":true}\n");
    follower.send("{\"command\":\"get\",\"key\":\"power\"}\n");
    kill(daemon_, SIGCONT);

    const std::string event = follower.line();
    ASSERT_NE(event, "") << "disconnected";
    EXPECT_EQ(json::parse(event).at("event").at("subject"), "i2c-stuck");
    EXPECT_EQ(json::parse(follower.line()).at("value"), "on");
}

TEST_F(BoardDaemon, AFollowerThatDoesNotReadIsDroppedAndBlocksNobody)
{
    start();
    Peer sleeper(SOCK_STREAM, control());
    Peer log(SOCK_DGRAM, "/dev/log");
    ASSERT_TRUE(log.connected());
    sleeper.send("{\"command\":\"events\",\"follow\":true}\n");
    EXPECT_NE(sleeper.line(), "");
    const std::string text = "test: " + std::string(7000, 'x');
    int sent = 0;
    while (sent < 5000 && !sleeper.hangs_up_within(0) && log.send(text))
        ++sent;
    EXPECT_TRUE(sleeper.hangs_up_within(2000));
    EXPECT_GT(sent, 500);
    EXPECT_TRUE(answers());
}

TEST_F(BoardDaemon, AskingWithoutReadingDoesNotFillTheBoard)
{
    start();
    Peer greedy(SOCK_STREAM, control());
    const std::string requests = [] {
        std::string text;
        for (int i = 0; i < 1000; ++i)
            text += "{\"command\":\"show\"}\n";
        return text;
    }();
    ASSERT_TRUE(greedy.send(requests));
    EXPECT_TRUE(answers());
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(json::parse(greedy.line()).at("ok"), true) << i;
}

TEST_F(BoardDaemon, TheSystemLogIsPartOfTheTimeline)
{
    start();
    openlog("tester", LOG_PID, LOG_USER);
    syslog(LOG_INFO, "outlet %d", 3);
    closelog();
    const json event = last_event();
    EXPECT_EQ(event.at("kind"), "log");
    EXPECT_EQ(event.at("subject"), "tester");
    EXPECT_EQ(event.at("detail"), "outlet 3");
    EXPECT_EQ(event.at("pid"), getpid());
}

TEST_F(BoardDaemon, PowerLossTakesSharedMemoryTheModbusLockAndPidFilesAway)
{
    start();
    constexpr std::array<key_t, 3> keys{0x4C504F4C, 0x4932434D, 0x4C104F10};
    for (const key_t key : keys)
        ASSERT_GE(shmget(key, 8, IPC_CREAT), 0); // permission bits 0
    ASSERT_GE(semget(0x525455, 1, IPC_CREAT | 0600), 0);
    const int other = shmget(0x12345678, 8, IPC_CREAT | 0600);
    std::ofstream("/var/run/cnt3.pid") << "1\n";
    std::ofstream("/var/run/cnt3.txt") << "1\n";
    ask({{"command", "power-loss"}});
    for (const key_t key : keys)
        EXPECT_EQ(shmget(key, 0, 0), -1) << std::hex << key;
    EXPECT_EQ(semget(0x525455, 0, 0), -1);
    EXPECT_EQ(shmget(0x12345678, 0, 0), other);
    EXPECT_FALSE(std::filesystem::exists("/var/run/cnt3.pid"));
    EXPECT_TRUE(std::filesystem::exists("/var/run/cnt3.txt"));
    shmctl(other, IPC_RMID, nullptr);
}

TEST_F(BoardDaemon, TheBoardPutsItsIdentityIntoTheStore)
{
    start({"--model", "00c347", "--serial", "0A0B0C"});
    board::Store store;
    EXPECT_EQ(store.get("IO_number"), "10");
    EXPECT_EQ(store.ethernet_address(), (board::EthernetAddress{0x00, 0xC3, 0x47, 10, 11, 12}));
}

TEST_F(BoardDaemon, WhatItSamplesIsSeenByOtherProcesses)
{
    start();
    const board::Store store;
    EXPECT_EQ(store.get("sIICAmp_PX"), std::nullopt);
    ask({{"command", "set"}, {"key", "current.3"}, {"value", "88"}});
    EXPECT_EQ(store.get("sIICAmp_PX"), "0;0;88;0;0;0;0;0");
    EXPECT_EQ(last_event().at("kind"), "sensor");
    ask({{"command", "power-loss"}});
    EXPECT_EQ(store.get("sIICAmp_PX"), std::nullopt);
    ask({{"command", "power-up"}});
    EXPECT_EQ(store.get("sIICAmp_PX"), "0;0;88;0;0;0;0;0");
}

TEST_F(BoardDaemon, SigtermEndsItAndItsSocketsAreGone)
{
    start();
    EXPECT_EQ(stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(control()));
    EXPECT_FALSE(std::filesystem::exists(devices()));
    EXPECT_FALSE(std::filesystem::exists("/dev/log"));
    EXPECT_THROW(answers(), board::Refusal);
}

TEST_F(BoardDaemon, ASecondBoardInTheSameFolderIsRefusedAndOneAfterAKilledOneIsNot)
{
    start();
    EXPECT_EQ(status_of(launch({})), 1);
    EXPECT_TRUE(answers());
    kill_child(std::exchange(daemon_, 0));
    start();
    EXPECT_TRUE(answers());
}

TEST_F(BoardDaemon, ARefusedSecondBoardLeavesTheStoreAlone)
{
    start({"--model", "00C347"});
    EXPECT_EQ(status_of(launch({"--model", "00C302"})), 1);
    const board::Store store;
    EXPECT_EQ(store.get("IO_number"), "10");
    EXPECT_EQ(store.ethernet_address(), (board::EthernetAddress{0x00, 0xC3, 0x47, 1, 2, 3}));
}

TEST_F(BoardDaemon, ASystemLogOfAnotherKindKeepsItsSocket)
{
    const Occupant log(SOCK_STREAM, "/dev/log");
    ASSERT_TRUE(log.listening());
    start();
    EXPECT_TRUE(answers());
    EXPECT_TRUE(log.is_still_there());
    EXPECT_EQ(stop(), 0);
    EXPECT_TRUE(log.is_still_there());
}

TEST_F(BoardDaemon, ASocketOfAnotherKindInTheFolderIsNotTakenAway)
{
    const Occupant stranger(SOCK_SEQPACKET, control());
    ASSERT_TRUE(stranger.listening());
    EXPECT_EQ(status_of(launch({"--background"})), 1);
    EXPECT_TRUE(stranger.is_still_there());
}

TEST_F(BoardDaemon, AnEmptyFolderNameIsNone)
{
    setenv("PLEXOR_BOARD_DIR", "", 1);
    start_in_background();
    EXPECT_TRUE(Peer(SOCK_SEQPACKET, board::devices_socket()).connected()) << board::devices_socket();
    EXPECT_TRUE(Peer(SOCK_STREAM, "/run/plexor/control.sock").connected());
    EXPECT_EQ(stop(), 0);
}

TEST_F(BoardDaemon, InTheBackgroundItReturnsWhenItAnswers)
{
    start_in_background();
    EXPECT_TRUE(answers());
    EXPECT_EQ(stop(), 0);
    EXPECT_THROW(answers(), board::Refusal);
}

TEST_F(BoardDaemon, WrongOptionsAndPlacesAreRefused)
{
    EXPECT_EQ(status_of(launch({"--model", "123456"})), 2);
    EXPECT_EQ(status_of(launch({"--model"})), 2);
    EXPECT_EQ(status_of(launch({"--serial", "01020"})), 2);
    EXPECT_EQ(status_of(launch({"--serial", "01020G"})), 2);
    EXPECT_EQ(status_of(launch({"--frobnicate"})), 2);
    EXPECT_EQ(status_of(launch({"--help"})), 0);
    unsetenv("PLEXOR_APPLIANCE");
    EXPECT_EQ(status_of(launch({})), 1);
    setenv("PLEXOR_APPLIANCE", "board", 1);
    setenv("PLEXOR_BOARD_DIR", "/proc/no/such/folder", 1);
    EXPECT_EQ(status_of(launch({})), 1);
    setenv("PLEXOR_BOARD_DIR", (folder_.path() + "/" + std::string(120, 'd')).c_str(), 1);
    EXPECT_EQ(status_of(launch({})), 2);
    setenv("PLEXOR_BOARD_DIR", folder_.path().c_str(), 1);
    setenv("PLEXOR_STORE", "/proc/no/such/folder", 1);
    EXPECT_EQ(status_of(launch({})), 1);
}

} // namespace plexor::tests
