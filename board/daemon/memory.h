// SPDX-License-Identifier: Apache-2.0
// What an appliance loses with its power beside what the parameter store knows of.
#pragma once

namespace plexor::board
{

// Removes the appliance's shared memory segments, its Modbus lock and its pid files. Must only ever run in
// namespaces of the appliance's own: the keys and paths are fixed.
void forget_memory();

} // namespace plexor::board
