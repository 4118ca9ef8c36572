// SPDX-License-Identifier: Apache-2.0
// A record of power cycles for the tick to work on.
#pragma once

namespace plexor::bench
{

// A fresh record in which so many outlets are in the middle of a long cycle, and a network monitor that lives.
void prepare_ticking(unsigned running);

} // namespace plexor::bench
