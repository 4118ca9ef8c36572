// SPDX-License-Identifier: Apache-2.0
// What the benchmarks put under the library: device calls that cost one real system call each and always
// succeed, and a parameter store that costs no more than it must.
#pragma once

#include <cstddef>

namespace plexor::bench
{

// Gives a parameter a value.
void set_parameter(const char *key, const char *value);

// The bare system calls that a device access comes down to here, for the floor.
int bare_open();
int bare_ioctl(int fd);
int bare_close(int fd);

// Ends the process with one line unless it runs in private namespaces: the library under measurement makes
// shared memory with fixed keys, and the programs write where the appliance's daemons do.
void refuse_the_machine_itself();

// Blocks taken from the heap by this process so far.
std::size_t heap_blocks();

} // namespace plexor::bench
