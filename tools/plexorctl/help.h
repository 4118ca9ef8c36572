// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace plexor::ctl
{

struct Command;

void help_on_everything();
void help_on_group(const char *group);
void help_on_command(const Command &command);
void help_as_json(); // the whole table, for programs that make something of it

} // namespace plexor::ctl
