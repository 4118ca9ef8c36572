// SPDX-License-Identifier: Apache-2.0
// The contract tests run the real library, so they run in namespaces of their own: started anywhere else, the
// program starts itself again inside a private appliance.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace
{

int run_in_private_appliance(int argc, char **argv)
{
    std::vector<std::string> words{PLEXOR_RUN, "--bare", "--build", PLEXOR_BUILD, "--"};
    words.push_back(std::filesystem::read_symlink("/proc/self/exe"));
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (auto &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(PLEXOR_RUN, arguments.data());
    std::perror(PLEXOR_RUN);
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    if (std::getenv("PLEXOR_APPLIANCE") == nullptr)
        return run_in_private_appliance(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
