// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/connections.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "board/daemon/commands.h"
#include "board/daemon/log_line.h"
#include "board/interpose/wire.h"

namespace plexor::board
{

namespace
{

std::int32_t pid_of_peer(int descriptor)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

} // namespace

DeviceConnection::DeviceConnection(int descriptor, Board &board)
    : Source(descriptor), board_(board), pid_(pid_of_peer(descriptor))
{
}

bool DeviceConnection::serve(short)
{
    Bytes message(max_message);
    const ssize_t size = recv(descriptor(), message.data(), message.size(), MSG_DONTWAIT | MSG_TRUNC);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    if (size <= 0 || static_cast<std::size_t>(size) > message.size())
        return false;
    message.resize(static_cast<std::size_t>(size));
    const auto reply = reply_to(message);
    if (!reply)
        return false;
    const Bytes answer = encode(*reply);
    return send(descriptor(), answer.data(), answer.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

// Nothing for a message that is out of place. After a refused open only another open is in place.
std::optional<Reply> DeviceConnection::reply_to(const std::vector<std::uint8_t> &message)
{
    if (!device_) {
        const auto device = decode_open(message);
        if (!device)
            return std::nullopt;
        Reply reply;
        reply.error = board_.open(*device, pid_);
        if (reply.error == 0)
            device_ = device;
        return reply;
    }
    auto request = decode_request(message);
    if (!request || request->device != *device_)
        return std::nullopt;
    request->pid = pid_;
    return board_.handle(*request);
}

// While a reply waits to be read, no further request is taken.
short ControlConnection::wanted() const
{
    return pending_.empty() ? POLLIN : POLLOUT;
}

// What is wanted may have changed since the poll, by an event of a peer that was served before.
bool ControlConnection::serve(short happened)
{
    if ((happened & (POLLIN | POLLOUT)) == 0 || ((happened & POLLIN) != 0 && !receive()))
        return false;
    return send_pending() && answer_lines() && !(finished_ && pending_.empty());
}

bool ControlConnection::receive()
{
    std::array<char, 16 * 1024> chunk;
    const ssize_t size = recv(descriptor(), chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (size <= 0)
        return size < 0 && (errno == EAGAIN || errno == EINTR);
    received_.append(chunk.data(), static_cast<std::size_t>(size));
    return true;
}

bool ControlConnection::send_pending()
{
    if (pending_.empty())
        return true;
    const ssize_t size = send(descriptor(), pending_.data(), pending_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (size < 0)
        return errno == EAGAIN || errno == EINTR;
    pending_.erase(0, static_cast<std::size_t>(size));
    return true;
}

bool ControlConnection::answer_lines()
{
    while (pending_.empty() && !finished_) {
        const auto end = received_.find('\n');
        if (std::min(end, received_.size()) > longest_request) {
            pending_ = to_line(refusal_reply("a request has at most 65536 characters", true));
            finished_ = true;
        } else if (end == std::string::npos) {
            return true;
        } else {
            const Answer answered = answer(appliance_, std::string_view(received_).substr(0, end));
            received_.erase(0, end + 1);
            pending_ += to_line(answered.reply);
            follows_ = follows_ || answered.follow;
        }
        if (!send_pending())
            return false;
    }
    return true;
}

void ControlConnection::notice(const Event &event)
{
    if (!follows_)
        return;
    pending_ += to_line(event_notice(event));
    if (pending_.size() > most_pending) {
        pending_.clear();
        follows_ = false;
        shutdown(descriptor(), SHUT_RDWR); // the poll sees the hang-up
    }
}

LogSocket::LogSocket(int descriptor, Timeline &timeline) : Source(descriptor), timeline_(timeline)
{
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
}

bool LogSocket::serve(short)
{
    std::array<char, 8 * 1024> text;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    iovec part{text.data(), text.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = recvmsg(descriptor(), &message, MSG_DONTWAIT);
    if (size < 0)
        return true;
    ucred sender{};
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_type == SCM_CREDENTIALS)
        std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
    LogLine line = parse_log_line({text.data(), static_cast<std::size_t>(size)});
    timeline_.add(sender.pid, "log", std::move(line.ident), std::move(line.text));
    return true;
}

} // namespace plexor::board
