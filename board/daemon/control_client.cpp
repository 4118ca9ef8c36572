// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/control_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

using nlohmann::json;

Refusal no_board(const std::string &path, int error)
{
    return Refusal("no board answers at " + path + " (" + std::strerror(error) +
                       "): run this inside plexor-run, or name the board's socket with --socket",
                   false);
}

void send_all(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t size = send(descriptor, text.data(), text.size(), MSG_NOSIGNAL);
        if (size < 0 && errno != EINTR)
            throw Refusal("the board has gone", false);
        text.remove_prefix(static_cast<std::size_t>(size < 0 ? 0 : size));
    }
}

} // namespace

ControlClient::ControlClient(const std::string &path)
    : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof address.sun_path;
    if (fits)
        std::memcpy(address.sun_path, path.c_str(), path.size());
    if (fits && connect(descriptor_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return;
    const int error = fits ? errno : ENAMETOOLONG;
    close(descriptor_);
    throw no_board(path, error);
}

ControlClient::~ControlClient()
{
    close(descriptor_);
}

json ControlClient::ask(const json &request)
{
    send_all(descriptor_, request.dump(-1, ' ', false, json::error_handler_t::replace) + "\n");
    json reply = next();
    if (!reply.value("ok", false))
        throw Refusal(reply.value("error", "the board gave no reason"), reply.value("usage", false));
    return reply;
}

json ControlClient::next()
{
    auto end = received_.find('\n');
    while (end == std::string::npos) {
        std::array<char, 16 * 1024> chunk;
        const ssize_t size = recv(descriptor_, chunk.data(), chunk.size(), 0);
        if (size == 0 || (size < 0 && errno != EINTR))
            throw Refusal("the board has gone", false);
        const std::size_t searched = received_.size();
        received_.append(chunk.data(), static_cast<std::size_t>(size < 0 ? 0 : size));
        end = received_.find('\n', searched);
    }
    json object =
        json::parse(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(end), nullptr, false);
    received_.erase(0, end + 1);
    if (!object.is_object())
        throw Refusal("the board's reply is not understood", false);
    return object;
}

} // namespace plexor::board
