// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/appliance.h"

#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <span>
#include <sstream>
#include <stdexcept>

#include "board/interpose/marshal.h"
#include "tests/contract/appliance_world.h"
#include "tests/contract/memory_file.h"

namespace plexor::tests
{
namespace
{

const std::filesystem::path run_folder = "/var/run";

// The fixture removes segments and process-id files, which have to be those of a private appliance.
void require_private_appliance()
{
    if (std::getenv("PLEXOR_APPLIANCE") == nullptr)
        throw std::runtime_error("contract tests run in a private appliance only");
}

void remove_pid_files()
{
    for (const auto &entry : std::filesystem::directory_iterator(run_folder)) {
        if (entry.path().extension() == ".pid")
            std::filesystem::remove(entry.path());
    }
}

// What action writes to a descriptor of a C stream.
std::string output_of(std::FILE *stream, const std::function<void()> &action)
{
    std::fflush(stream);
    const int target = fileno(stream);
    const int kept = dup(target);
    const int capture = make_memory_file("");
    dup2(capture, target);
    action();
    std::fflush(stream);
    dup2(kept, target);
    std::string text = contents_of(capture);
    ::close(kept);
    ::close(capture);
    return text;
}

// A segment attached for as long as the fixture looks at it; empty when it does not exist.
class Look
{
  public:
    explicit Look(std::uint32_t key) : id_(shmget(static_cast<key_t>(key), 0, 0))
    {
        if (id_ < 0 || shmctl(id_, IPC_STAT, &status_) != 0)
            return;
        if (void *address = shmat(id_, nullptr, 0); address != reinterpret_cast<void *>(-1))
            bytes_ = {static_cast<std::uint8_t *>(address), status_.shm_segsz};
    }
    ~Look()
    {
        if (!bytes_.empty())
            shmdt(bytes_.data());
    }
    Look(const Look &) = delete;
    Look &operator=(const Look &) = delete;

    int id() const { return id_; }
    int mode() const { return id_ < 0 ? -1 : status_.shm_perm.mode & 0777; }
    std::span<std::uint8_t> bytes() const { return bytes_; }

  private:
    int id_;
    shmid_ds status_{};
    std::span<std::uint8_t> bytes_{};
};

} // namespace

Appliance::Appliance() : world_(std::make_unique<ApplianceWorld>())
{
    require_private_appliance();
    world_->remove_segments();
    remove_pid_files();
    use_model(2, true);
    if (board::install_world(world_.get()) == 0)
        throw std::runtime_error("no library to watch is loaded");
}

Appliance::~Appliance()
{
    board::install_world(nullptr);
    EXPECT_EQ(devices_open(), 0) << "devices were left open";
    EXPECT_EQ(segments_attached(), 0) << "segments were left attached";
    EXPECT_EQ(pipes_open(), 0) << "pipes were left open";
    EXPECT_EQ(sockets_open(), 0) << "sockets were left open";
    EXPECT_EQ(world_->files.descriptors().size(), 0U) << "files were left open";
    world_->close_everything();
    world_->remove_segments();
    remove_pid_files();
}

void Appliance::use_model(int index, bool latching)
{
    const auto &hardware = board::hardware_by_index(index);
    world_->board = std::make_unique<board::Board>(hardware, latching, [this] { return world_->monotonic; });
    world_->store = {{"IO_number", std::to_string(index)}};
    world_->flash = world_->store;
    const auto byte = [&](int shift) { return static_cast<std::uint8_t>(hardware.code >> shift); };
    world_->ethernet_address = {byte(16), byte(8), byte(0), 0x12, 0x34, 0x56};
    forget_calls();
}

board::Board &Appliance::board()
{
    return *world_->board;
}

// --- the parameter store ---

void Appliance::set(const std::string &key, const std::string &value)
{
    world_->store[key] = value;
}

std::string Appliance::get(const std::string &key) const
{
    const auto found = world_->store.find(key);
    return found == world_->store.end() ? "" : found->second;
}

void Appliance::unset(const std::string &key)
{
    world_->store.erase(key);
}

std::map<std::string, std::string> &Appliance::flash()
{
    return world_->flash;
}

void Appliance::unplug_store(bool leave_buffer_alone)
{
    world_->store_unplugged = leave_buffer_alone;
}

void Appliance::refuse_writes(int result)
{
    world_->write_refusal = result;
}

const std::vector<std::uint8_t> &Appliance::last_buffer_offered() const
{
    return world_->last_buffer_offered;
}

void Appliance::set_ethernet_address(const std::array<std::uint8_t, 6> &address)
{
    world_->ethernet_address = address;
}

void Appliance::lose_ethernet_address()
{
    world_->ethernet_address.reset();
}

// --- the call record ---

Calls Appliance::calls() const
{
    return world_->calls;
}

Calls Appliance::calls(const std::string &prefix) const
{
    std::vector<std::string> chosen;
    const auto starts = [&](const std::string &call) { return call.starts_with(prefix); };
    std::copy_if(world_->calls.begin(), world_->calls.end(), std::back_inserter(chosen), starts);
    return chosen;
}

void Appliance::forget_calls()
{
    world_->calls.clear();
    world_->debug_print.clear();
    world_->datagrams.clear();
}

void Appliance::at_call(const std::string &prefix, const std::function<void()> &action)
{
    world_->watchers.emplace_back(prefix, action);
}

std::string Appliance::log_ident() const
{
    return world_->log_ident == nullptr ? "" : world_->log_ident;
}

std::string Appliance::debug_print() const
{
    return world_->debug_print;
}

std::string Appliance::standard_error_of(const std::function<void()> &action)
{
    return output_of(stderr, action);
}

std::string Appliance::standard_output_of(const std::function<void()> &action)
{
    return output_of(stdout, action);
}

// --- driven time ---

void Appliance::advance(std::int64_t nanoseconds)
{
    world_->pass(nanoseconds);
}

void Appliance::set_monotonic(std::int64_t seconds, std::int64_t nanoseconds)
{
    world_->monotonic = seconds * ApplianceWorld::second + nanoseconds;
}

void Appliance::set_calendar(std::int64_t seconds)
{
    world_->calendar = seconds * ApplianceWorld::second;
}

void Appliance::set_time(const std::string &time)
{
    const time_t now = world_->calendar / ApplianceWorld::second;
    tm local{};
    localtime_r(&now, &local);
    std::istringstream(time) >> std::get_time(&local, "%H:%M:%S");
    local.tm_isdst = -1;
    set_calendar(std::mktime(&local));
}

void Appliance::interrupt_next_sleep_after(std::int64_t nanoseconds)
{
    world_->interruption = nanoseconds;
}

// --- failures ---

void Appliance::fail_open(const std::string &path, int error)
{
    if (error == 0)
        world_->open_errors.erase(path);
    else
        world_->open_errors[path] = error;
}

void Appliance::make_foreign(const std::string &path)
{
    world_->foreign_files.insert(path);
}

void Appliance::open_returns(const std::string &path, int descriptor)
{
    world_->open_numbers[path] = descriptor;
}

void Appliance::fail_ioctl(const std::string &path, int request, int error)
{
    ASSERT_TRUE(path == "socket" || board::device_at(path.c_str())) << path << " takes no requests";
    if (error == 0)
        world_->ioctl_errors.erase({path, request});
    else
        world_->ioctl_errors[{path, request}] = error;
}

void Appliance::fail_call(const std::string &name, int error)
{
    fail_call_after(name, 0, error);
}

void Appliance::fail_call_after(const std::string &name, int skip, int error)
{
    world_->failures.push_back({name, skip, error});
}

void Appliance::system_returns(int status)
{
    world_->system_status = status;
}

// --- commands at the other end of a pipe ---

void Appliance::commands_print(const std::string &text)
{
    world_->command_output = text;
}

std::string Appliance::piped() const
{
    return world_->piped;
}

void Appliance::run_piped_commands()
{
    world_->commands_are_real = true;
}

int Appliance::pipes_open() const
{
    return static_cast<int>(world_->pipes.size());
}

void Appliance::close_pipes()
{
    world_->close_pipes();
}

// --- files that are played ---

void Appliance::set_file(const std::string &path, const std::string &text)
{
    world_->files.set(path, text);
}

std::string Appliance::file(const std::string &path) const
{
    return world_->files.text_of(path);
}

void Appliance::remove_file(const std::string &path)
{
    world_->files.remove(path);
}

int Appliance::left_open(const std::string &path) const
{
    return static_cast<int>(world_->files.descriptors(path).size());
}

void Appliance::close_file(const std::string &path)
{
    for (const int descriptor : world_->files.descriptors(path))
        world_->release(descriptor);
}

// --- the network ---

Interface &Appliance::add_interface(const std::string &name)
{
    return world_->network.add(name);
}

Interface &Appliance::interface(const std::string &name)
{
    return world_->network.interface(name);
}

void Appliance::remove_interface(const std::string &name)
{
    world_->network.remove(name);
}

const std::vector<Datagram> &Appliance::datagrams() const
{
    return world_->datagrams;
}

int Appliance::open_socket()
{
    return world_->open_socket();
}

void Appliance::close_socket(int descriptor)
{
    ASSERT_TRUE(world_->sockets.contains(descriptor)) << descriptor << " is no open socket";
    world_->release(descriptor);
}

int Appliance::sockets_open() const
{
    return static_cast<int>(world_->sockets.size());
}

// --- processes ---

void Appliance::add_process(int pid)
{
    world_->processes.insert(pid);
}

void Appliance::remove_process(int pid)
{
    world_->processes.erase(pid);
}

void Appliance::write_pid_file(const std::string &name, const std::string &text)
{
    std::ofstream(run_folder / (name + ".pid")) << text;
}

void Appliance::remove_pid_file(const std::string &name)
{
    std::filesystem::remove(run_folder / (name + ".pid"));
}

// --- shared memory ---

std::vector<std::uint8_t> Appliance::segment(std::uint32_t key) const
{
    const Look look(key);
    return {look.bytes().begin(), look.bytes().end()};
}

void Appliance::write_segment(std::uint32_t key, std::size_t offset, const std::vector<std::uint8_t> &bytes)
{
    const Look look(key);
    ASSERT_LE(offset + bytes.size(), look.bytes().size()) << "no such segment, or it is shorter";
    std::copy(bytes.begin(), bytes.end(), look.bytes().begin() + static_cast<std::ptrdiff_t>(offset));
}

void Appliance::make_segment(std::uint32_t key, std::size_t size, int mode)
{
    world_->segment_keys.insert(static_cast<key_t>(key));
    ASSERT_GE(shmget(static_cast<key_t>(key), size, IPC_CREAT | IPC_EXCL | mode), 0);
}

void Appliance::remove_segment(std::uint32_t key)
{
    const Look look(key);
    ASSERT_EQ(shmctl(look.id(), IPC_RMID, nullptr), 0);
}

int Appliance::segment_mode(std::uint32_t key) const
{
    return Look(key).mode();
}

int Appliance::segments_attached() const
{
    return world_->segments_attached;
}

int Appliance::devices_open() const
{
    return world_->devices_open();
}

} // namespace plexor::tests
