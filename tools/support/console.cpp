// SPDX-License-Identifier: Apache-2.0
#include "tools/support/console.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

#include "support/text.h"

namespace plexor::ctl
{
namespace
{

const char *program_name = "";
FILE *result_stream = nullptr;
FILE *error_stream = nullptr;
bool is_closed = false;

// The library ends the process by itself in one case only: without the I2C driver.
void end_with_a_line()
{
    if (is_closed)
        return;
    failure("the I2C bus cannot be opened: /dev/i2cM0 is missing");
    _exit(failed);
}

// A device that opened as descriptor 0 would count as missing, and one that opened as 1 or 2 would get text.
void fill_standard_descriptors()
{
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        close(descriptor);
}

FILE *stream_of_its_own(int descriptor)
{
    const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return copy < 0 ? nullptr : fdopen(copy, "w");
}

FILE *errors()
{
    return error_stream != nullptr ? error_stream : stderr;
}

__attribute__((format(printf, 1, 0))) void print_line(const char *format, va_list arguments)
{
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    for (char *c = text; *c != '\0'; ++c) {
        if (is_control(*c))
            *c = '?'; // a line break in what somebody typed must not make two lines of one
    }
    std::fprintf(errors(), "%s: %s\n", program_name, text);
    std::fflush(errors());
}

} // namespace

void open_console(const char *program)
{
    program_name = program;
    fill_standard_descriptors();
    std::atexit(end_with_a_line);
}

void hush_library(bool verbose)
{
    result_stream = stream_of_its_own(STDOUT_FILENO);
    error_stream = stream_of_its_own(STDERR_FILENO);
    if (verbose) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        return;
    }
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

FILE *results()
{
    return result_stream != nullptr ? result_stream : stdout;
}

bool confirmed(const char *question)
{
    std::fprintf(errors(), "%s ", question);
    std::fflush(errors());
    char answer[16] = "";
    return std::fgets(answer, sizeof answer, stdin) != nullptr && std::strcmp(answer, "yes\n") == 0;
}

void leave_console()
{
    std::fflush(results());
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, descriptor);
    for (FILE *stream : {results(), errors()})
        dup3(nowhere, fileno(stream), O_CLOEXEC);
    close(nowhere);
}

int failure(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_line(format, arguments);
    va_end(arguments);
    return failed;
}

int wrong_input(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    print_line(format, arguments);
    va_end(arguments);
    return bad_input;
}

int close_console(int status)
{
    is_closed = true;
    if (std::fflush(results()) != 0 || std::ferror(results()) != 0)
        return failure("the results cannot be written: %s", std::strerror(errno));
    return status;
}

} // namespace plexor::ctl
