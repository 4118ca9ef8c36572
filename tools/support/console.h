// SPDX-License-Identifier: Apache-2.0
// What a tool says to people: results on standard output, at most one line on standard error.
//
// The library and the platform talk a lot on both streams while they work. The tools keep the two streams to
// themselves, so that results can be parsed and a failure is one line; --verbose lets the library be heard.
#pragma once

#include <cstdio>

namespace plexor::ctl
{

enum Status { done = 0, failed = 1, bad_input = 2 };

// First call of a tool. From here on a library that ends the process ends it with one line and status 1.
void open_console(const char *program);

// Sends what the library writes to standard error (verbose) or nowhere. Call it before the library.
void hush_library(bool verbose);

FILE *results();

// Asks on standard error, and tells whether "yes" was typed. Only where standard input is a terminal.
bool confirmed(const char *question);

// From here on nobody hears anything: a daemon lets go of the terminal or pipe of whoever started it.
void leave_console();

// Print one line, "program: text", on standard error and return failed or bad_input.
int failure(const char *format, ...) __attribute__((format(printf, 1, 2)));
int wrong_input(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Last call of a tool: the status to return from main, failed when the results could not be written.
int close_console(int status);

} // namespace plexor::ctl
