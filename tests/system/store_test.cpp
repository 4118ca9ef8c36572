// SPDX-License-Identifier: Apache-2.0
#include "board/nvram/store.h"

#include <gtest/gtest.h>
#include <lmdb.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tests/system/processes.h"

namespace plexor::tests
{

using board::EthernetAddress;
using board::Store;

// A test that waits for a lock for ever is killed instead.
class StoreOfParameters : public ::testing::Test
{
  protected:
    StoreOfParameters() { alarm(120); }
    ~StoreOfParameters() override { alarm(0); }

    bool written_by_another_process(const std::string &key, const std::string &value)
    {
        return in_child([&] { return Store(folder_.path()).set(key, value); });
    }

    ScratchFolder folder_{};
    Store store_{folder_.path()};
};

TEST_F(StoreOfParameters, AKeyThatWasNeverSetHasNoValue)
{
    EXPECT_EQ(store_.get("IO_number"), std::nullopt);
    EXPECT_TRUE(store_.list().empty());
}

TEST_F(StoreOfParameters, KeepsTextsOfAnyBytesAndTheEmptyOne)
{
    const std::string odd("a;b\0\xff\n", 6);
    EXPECT_TRUE(store_.set("odd", odd));
    EXPECT_TRUE(store_.set("empty", ""));
    EXPECT_EQ(store_.list(), (std::map<std::string, std::string>{{"empty", ""}, {"odd", odd}}));
}

TEST_F(StoreOfParameters, RefusesKeysAndValuesThatDoNotFitAndKeepsWhatWas)
{
    ASSERT_TRUE(store_.set("key", "before"));
    EXPECT_FALSE(store_.set("", "value"));
    EXPECT_FALSE(store_.set(std::string(512, 'k'), "value"));
    EXPECT_FALSE(store_.set("key", std::string(Store::largest_value + 1, 'v')));
    EXPECT_FALSE(store_.provision("key", std::string(Store::largest_value + 1, 'v')));
    EXPECT_EQ(store_.list(), (std::map<std::string, std::string>{{"key", "before"}}));
    EXPECT_TRUE(store_.set(std::string(511, 'k'), std::string(Store::largest_value, 'v')));
}

TEST_F(StoreOfParameters, AnythingAsksInVainWhereNoFolderCanBeMade)
{
    Store nowhere("/proc/no/such/folder");
    EXPECT_FALSE(nowhere.set("key", "value"));
    EXPECT_FALSE(nowhere.provision("key", "value"));
    EXPECT_EQ(nowhere.get("key"), std::nullopt);
    EXPECT_FALSE(nowhere.commit());
    EXPECT_FALSE(nowhere.power_loss());
    EXPECT_TRUE(nowhere.list().empty());
    EXPECT_FALSE(nowhere.set_ethernet_address(EthernetAddress{}));
    EXPECT_EQ(nowhere.ethernet_address(), std::nullopt);
}

TEST_F(StoreOfParameters, AFullStoreRefusesAndStaysReadable)
{
    int stored = 0;
    while (stored < 1000 &&
           store_.set("key" + std::to_string(stored), std::string(Store::largest_value, 'v')))
        ++stored;
    EXPECT_GT(stored, 100);
    EXPECT_LT(stored, 1000);
    EXPECT_EQ(store_.get("key0")->size(), Store::largest_value);
    EXPECT_EQ(store_.list().size(), static_cast<std::size_t>(stored));
}

TEST_F(StoreOfParameters, PowerLossBringsBackWhatWasCommittedAndNothingElse)
{
    store_.set("kept", "1");
    store_.set("changed", "before");
    ASSERT_TRUE(store_.commit());
    store_.set("changed", "after");
    store_.set("lost", "1");
    ASSERT_TRUE(store_.power_loss());
    EXPECT_EQ(store_.list(), (std::map<std::string, std::string>{{"changed", "before"}, {"kept", "1"}}));
}

TEST_F(StoreOfParameters, WhatTheFactoryProvidesSurvivesPowerLossWithoutACommit)
{
    store_.set("IO_number", "7");
    store_.set("SPI_buf_1", "f");
    ASSERT_TRUE(store_.provision("IO_number", "2"));
    EXPECT_EQ(store_.get("IO_number"), "2");
    ASSERT_TRUE(store_.power_loss());
    EXPECT_EQ(store_.list(), (std::map<std::string, std::string>{{"IO_number", "2"}}));
}

TEST_F(StoreOfParameters, TheEthernetAddressCanBeErasedAndWrittenAgain)
{
    const EthernetAddress address{0x00, 0xC3, 0x02, 1, 2, 3};
    EXPECT_EQ(store_.ethernet_address(), std::nullopt);
    ASSERT_TRUE(store_.set_ethernet_address(address));
    ASSERT_TRUE(store_.power_loss());
    EXPECT_EQ(store_.ethernet_address(), address);
    EXPECT_TRUE(store_.set_ethernet_address(std::nullopt));
    EXPECT_TRUE(store_.set_ethernet_address(std::nullopt));
    EXPECT_EQ(store_.ethernet_address(), std::nullopt);
}

TEST_F(StoreOfParameters, AnotherProcessSeesAValueAtOnceAndTheOtherWayRound)
{
    store_.set("key", "mine");
    EXPECT_TRUE(in_child([&] { return Store(folder_.path()).get("key") == "mine"; }));
    EXPECT_TRUE(written_by_another_process("key", "theirs"));
    EXPECT_EQ(store_.get("key"), "theirs");
}

TEST_F(StoreOfParameters, AChildAfterForkGoesOnWithTheStoreOfItsParent)
{
    store_.set("parent", "1");
    EXPECT_TRUE(in_child([&] {
        return store_.get("parent") == "1" && store_.set("child", "1") &&
               in_child([&] { return store_.set("grandchild", store_.get("child").value_or("")); });
    }));
    EXPECT_TRUE(store_.set("parent", "2"));
    EXPECT_EQ(store_.list(),
              (std::map<std::string, std::string>{{"child", "1"}, {"grandchild", "1"}, {"parent", "2"}}));
}

TEST_F(StoreOfParameters, SeveralProcessesWritingAtOnceLoseNoValue)
{
    constexpr int processes = 6;
    constexpr int values = 150;
    std::vector<pid_t> children;
    children.reserve(processes);
    for (int process = 0; process < processes; ++process)
        children.push_back(start_child([&] {
            bool good = true;
            for (int i = 0; i < values; ++i)
                good = store_.set(std::to_string(process) + "." + std::to_string(i), "x") &&
                       store_.set("common", std::to_string(process)) && good;
            return good && store_.commit();
        }));
    for (const pid_t child : children)
        EXPECT_TRUE(ended_well(child));
    EXPECT_EQ(store_.list().size(), std::size_t{processes * values + 1});
    ASSERT_TRUE(store_.power_loss());
    EXPECT_EQ(store_.list().size(), std::size_t{processes * values + 1});
}

// Ends by SIGKILL with the writer's lock held and a value put.
void die_inside_a_transaction(const std::string &folder)
{
    MDB_env *env = nullptr;
    MDB_txn *txn = nullptr;
    MDB_dbi live = 0;
    char text[] = "half";
    MDB_val value{sizeof text - 1, text};
    if (mdb_env_create(&env) == 0 && mdb_env_set_maxdbs(env, 3) == 0 &&
        mdb_env_open(env, folder.c_str(), MDB_NOTLS | MDB_NOSYNC, 0600) == 0 &&
        mdb_txn_begin(env, nullptr, 0, &txn) == 0 && mdb_dbi_open(txn, "live", 0, &live) == 0 &&
        mdb_put(txn, live, &value, &value, 0) == 0)
        raise(SIGKILL);
}

TEST_F(StoreOfParameters, AProcessKilledInsideATransactionNeitherBlocksTheOthersNorLeavesItsChange)
{
    store_.set("whole", "before");
    for (int round = 0; round < 3; ++round) {
        const pid_t child = start_child([&] {
            die_inside_a_transaction(folder_.path());
            return false;
        });
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the child did not get as far as its transaction";
        EXPECT_EQ(store_.get("half"), std::nullopt);
        EXPECT_TRUE(store_.set("whole", "after"));
        EXPECT_TRUE(written_by_another_process("other", "1"));
    }
    EXPECT_EQ(store_.list(), (std::map<std::string, std::string>{{"other", "1"}, {"whole", "after"}}));
}

bool is_uniform(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), [&](char c) { return c == text.front(); });
}

TEST_F(StoreOfParameters, WritersKilledAtAnyMomentLeaveTheOldValueOrTheNewOne)
{
    ASSERT_TRUE(store_.provision("value", std::string(20'000, 'a')));
    for (int round = 0; round < 150; ++round) {
        const pid_t child = start_child([&] {
            for (int i = 0; store_.set("value", std::string(20'000, static_cast<char>('a' + i % 26))); ++i)
                store_.commit();
            return false;
        });
        usleep(static_cast<useconds_t>(500 + round * 37 % 3000));
        kill_child(child);
        EXPECT_TRUE(is_uniform(store_.get("value").value_or("missing"))) << "live, round " << round;
        if (round % 10 == 0) {
            EXPECT_TRUE(store_.power_loss());
            EXPECT_TRUE(is_uniform(store_.get("value").value_or("missing"))) << "flash, round " << round;
        }
    }
    EXPECT_TRUE(store_.set("value", "usable"));
}

TEST_F(StoreOfParameters, ManyReadersKilledAtAnyMomentDoNotUseTheStoreUp)
{
    ASSERT_TRUE(store_.set("value", "1"));
    for (int round = 0; round < 200; ++round) {
        const pid_t child = start_child([&] {
            while (store_.list().size() == 1)
                continue;
            return false;
        });
        usleep(800);
        kill_child(child);
    }
    EXPECT_EQ(store_.get("value"), "1");
    EXPECT_TRUE(in_child([&] { return Store(folder_.path()).get("value") == "1"; }));
}

} // namespace plexor::tests
