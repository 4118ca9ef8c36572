// SPDX-License-Identifier: Apache-2.0
#include "board/nvram/store.h"

#include <lmdb.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace plexor::board
{

namespace
{

constexpr std::size_t map_size = 16 * 1024 * 1024;
constexpr mdb_mode_t file_mode = 0600;
constexpr std::string_view ethernet_key = "br0_mac";

MDB_val to_value(std::string_view text)
{
    return {text.size(), const_cast<char *>(text.data())}; // LMDB's inputs are not const, but only read
}

std::string_view to_text(const MDB_val &value)
{
    return {static_cast<const char *>(value.mv_data), value.mv_size};
}

// Ended without commit(), a transaction has changed nothing.
class Transaction
{
  public:
    Transaction(MDB_env *env, unsigned flags)
    {
        if (mdb_txn_begin(env, nullptr, flags, &txn_) != MDB_SUCCESS)
            txn_ = nullptr;
    }
    ~Transaction()
    {
        if (txn_ != nullptr)
            mdb_txn_abort(txn_);
    }
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    explicit operator bool() const { return txn_ != nullptr; }
    MDB_txn *get() const { return txn_; }
    bool commit() { return mdb_txn_commit(std::exchange(txn_, nullptr)) == MDB_SUCCESS; }

  private:
    MDB_txn *txn_{};
};

bool put(const Transaction &txn, MDB_dbi database, std::string_view key, std::string_view value)
{
    MDB_val k = to_value(key);
    MDB_val v = to_value(value);
    return mdb_put(txn.get(), database, &k, &v, 0) == MDB_SUCCESS;
}

// Calls visit(key, value) for every entry in ascending order until it returns false.
template <typename Visit>
bool for_each(const Transaction &txn, MDB_dbi database, Visit visit)
{
    MDB_cursor *cursor = nullptr;
    if (mdb_cursor_open(txn.get(), database, &cursor) != MDB_SUCCESS)
        return false;
    const std::unique_ptr<MDB_cursor, decltype(&mdb_cursor_close)> closer(cursor, mdb_cursor_close);
    MDB_val key{};
    MDB_val value{};
    int result = MDB_SUCCESS;
    while ((result = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == MDB_SUCCESS)
        if (!visit(to_text(key), to_text(value)))
            return false;
    return result == MDB_NOTFOUND;
}

// LMDB gives memory that an operation of the same transaction may move, so the entry is copied first.
bool copy_entry(const Transaction &txn, MDB_dbi to, std::string_view key, std::string_view value)
{
    return put(txn, to, std::string(key), std::string(value));
}

bool copy_all(MDB_env *env, MDB_dbi from, MDB_dbi to)
{
    Transaction txn(env, 0);
    return txn && mdb_drop(txn.get(), to, 0) == MDB_SUCCESS &&
           for_each(txn, from, [&](auto key, auto value) { return copy_entry(txn, to, key, value); }) &&
           txn.commit();
}

} // namespace

struct Store::Environment {
    explicit Environment(const std::string &directory) : ready(open(directory)) {}
    ~Environment() { mdb_env_close(env); }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

    bool open(const std::string &directory);
    bool open_databases();

    MDB_env *env{};
    MDB_dbi live{};
    MDB_dbi flash{};
    MDB_dbi factory{};
    pid_t owner{getpid()};
    const Environment *inherited{}; // the parent's, kept where a leak checker sees it
    bool ready{};
};

bool Store::Environment::open(const std::string &directory)
{
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    // A power loss of the machine itself is not the board's: nothing needs to be forced to its disk. Against
    // killed processes the store is safe without it.
    constexpr unsigned flags = MDB_NOTLS | MDB_NOSYNC;
    if (mdb_env_create(&env) != MDB_SUCCESS || mdb_env_set_maxdbs(env, 3) != MDB_SUCCESS ||
        mdb_env_set_mapsize(env, map_size) != MDB_SUCCESS ||
        mdb_env_open(env, directory.c_str(), flags, file_mode) != MDB_SUCCESS)
        return false;
    int dead = 0;
    mdb_reader_check(env, &dead);
    return open_databases();
}

bool Store::Environment::open_databases()
{
    Transaction txn(env, 0);
    return txn && mdb_dbi_open(txn.get(), "live", MDB_CREATE, &live) == MDB_SUCCESS &&
           mdb_dbi_open(txn.get(), "flash", MDB_CREATE, &flash) == MDB_SUCCESS &&
           mdb_dbi_open(txn.get(), "factory", MDB_CREATE, &factory) == MDB_SUCCESS && txn.commit();
}

Store::Store(std::string directory) : directory_(std::move(directory)) {}

Store::~Store()
{
    const Environment *current = current_;
    if (current != nullptr && current->owner == getpid())
        delete current;
}

std::string Store::default_directory()
{
    const char *set = std::getenv("PLEXOR_STORE");
    return set != nullptr && *set != '\0' ? set : "/run/plexor/store";
}

// The environment of this process, or nothing when it cannot be opened now. A child after fork opens its own
// and leaves the inherited one alone: closing that would end what LMDB keeps for the parent.
const Store::Environment *Store::environment() const
{
    const auto usable = [this] {
        const Environment *current = current_;
        return current != nullptr && current->owner == getpid() ? current : nullptr;
    };
    if (const Environment *current = usable())
        return current;
    const std::lock_guard guard(opening_);
    if (const Environment *current = usable())
        return current;
    auto opened = std::make_unique<Environment>(directory_);
    if (!opened->ready)
        return nullptr;
    opened->inherited = current_;
    current_ = opened.release();
    return current_;
}

std::optional<std::string> Store::get(std::string_view key) const
{
    const Environment *environment = this->environment();
    if (environment == nullptr)
        return std::nullopt;
    const Transaction txn(environment->env, MDB_RDONLY);
    MDB_val k = to_value(key);
    MDB_val v{};
    if (!txn || mdb_get(txn.get(), environment->live, &k, &v) != MDB_SUCCESS)
        return std::nullopt;
    return std::string(to_text(v));
}

bool Store::set(std::string_view key, std::string_view value)
{
    const Environment *environment = this->environment();
    if (environment == nullptr || value.size() > largest_value)
        return false;
    Transaction txn(environment->env, 0);
    return txn && put(txn, environment->live, key, value) && txn.commit();
}

bool Store::provision(std::string_view key, std::string_view value)
{
    const Environment *environment = this->environment();
    if (environment == nullptr || value.size() > largest_value)
        return false;
    Transaction txn(environment->env, 0);
    return txn && put(txn, environment->live, key, value) && put(txn, environment->flash, key, value) &&
           txn.commit();
}

bool Store::commit()
{
    const Environment *environment = this->environment();
    return environment != nullptr && copy_all(environment->env, environment->live, environment->flash);
}

bool Store::power_loss()
{
    const Environment *environment = this->environment();
    return environment != nullptr && copy_all(environment->env, environment->flash, environment->live);
}

std::map<std::string, std::string> Store::list() const
{
    std::map<std::string, std::string> entries;
    const Environment *environment = this->environment();
    if (environment == nullptr)
        return entries;
    const Transaction txn(environment->env, MDB_RDONLY);
    if (txn)
        for_each(txn, environment->live, [&](auto key, auto value) {
            entries.emplace(key, value);
            return true;
        });
    return entries;
}

std::optional<EthernetAddress> Store::ethernet_address() const
{
    const Environment *environment = this->environment();
    if (environment == nullptr)
        return std::nullopt;
    const Transaction txn(environment->env, MDB_RDONLY);
    MDB_val key = to_value(ethernet_key);
    MDB_val value{};
    EthernetAddress address{};
    if (!txn || mdb_get(txn.get(), environment->factory, &key, &value) != MDB_SUCCESS ||
        value.mv_size != address.size())
        return std::nullopt;
    std::memcpy(address.data(), value.mv_data, address.size());
    return address;
}

bool Store::set_ethernet_address(const std::optional<EthernetAddress> &address)
{
    const Environment *environment = this->environment();
    if (environment == nullptr)
        return false;
    Transaction txn(environment->env, 0);
    MDB_val key = to_value(ethernet_key);
    MDB_val value{address ? address->size() : 0,
                  address ? const_cast<std::uint8_t *>(address->data()) : nullptr};
    const int result = !txn      ? MDB_INVALID
                       : address ? mdb_put(txn.get(), environment->factory, &key, &value, 0)
                                 : mdb_del(txn.get(), environment->factory, &key, nullptr);
    return (result == MDB_SUCCESS || result == MDB_NOTFOUND) && txn.commit();
}

} // namespace plexor::board
