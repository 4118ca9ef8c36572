// SPDX-License-Identifier: Apache-2.0
// The board's sockets: one thread, one poll, nothing that blocks.
//
//   devices.sock  the processes of the appliance: each connection is a device that one of them has open
//   control.sock  people and programs outside: lines of JSON (see commands.h)
//   /dev/log      the appliance's system log, where nobody else has it: lines go into the timeline
//
// A peer that does not behave (malformed message, line without end, reader that stopped reading) loses its
// connection; the board and the other peers do not notice.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "board/daemon/appliance.h"

namespace plexor::board
{

// A descriptor in the poll with what is to be done when it is ready.
class Source
{
  public:
    explicit Source(int descriptor) : descriptor_(descriptor) {}
    virtual ~Source();
    Source(const Source &) = delete;
    Source &operator=(const Source &) = delete;

    int descriptor() const { return descriptor_; }
    virtual short wanted() const;           // poll's events
    virtual bool serve(short happened) = 0; // false: it is to be closed
    virtual void notice(const Event &) {}   // an event of the timeline, as it happens

  private:
    int descriptor_;
};

class Server
{
  public:
    static constexpr std::size_t most_sources = 500;

    // Throws Refusal when a socket cannot be made in folder, or when a board already answers there.
    // From then on SIGTERM and SIGINT wait for run().
    Server(Appliance &appliance, const std::string &folder);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    void run(); // until SIGTERM or SIGINT

    void add(std::unique_ptr<Source> source);
    bool full() const { return sources_.size() >= most_sources; }

  private:
    void serve_once();

    Appliance &appliance_;
    std::vector<std::string> paths_{}; // removed at the end
    std::vector<std::unique_ptr<Source>> sources_{};
    std::vector<std::unique_ptr<Source>> added_{};
    bool ended_{};
};

} // namespace plexor::board
