/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file process.h
 * Small services around processes, time and text: ticks, sleeps that signals do not shorten, process-id
 * files, the watchdog of the network monitor, the switch notification, the last-switch timestamp, and text
 * helpers.
 *
 * Process-id files are "/var/run/NAME.pid" and hold the decimal process id and a newline.
 *
 * The last-switch timestamp is System V shared memory, key 0x4C504F4C, 8 bytes: the CLOCK_MONOTONIC time at
 * which an outlet was last switched, as 32-bit signed seconds and 32-bit signed nanoseconds in host order.
 * The library only writes it; two writers at once can leave seconds and nanoseconds of different writes.
 *
 * The switch notification is the queued real-time signal SIGRTMAX - 10 with an integer value, for the MQTT
 * connector (process in "/var/run/cnt3.pid"). Value 1 says that outlet states changed.
 */
#ifndef PLEXOR_PROCESS_H
#define PLEXOR_PROCESS_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What ReadPid returns for "no process". */
#define PLEXOR_NO_PROCESS 0x7FFFFFFF

/**
 * Milliseconds of the monotonic clock in 32 bits; they wrap after about 49.7 days. Compare two ticks by
 * unsigned subtraction.
 *
 * @return ticks since an unspecified start, 0 to 4294967295.
 */
PLEXOR_API unsigned GetTickCountMS(void);

/** GetTickCountMS under its other name. */
PLEXOR_API unsigned GetTickCount(void);

/**
 * Sleeps for whole seconds. A signal does not shorten the sleep: what remains is slept afterwards.
 *
 * @param seconds  time to sleep; more than 2147483647 are cut to that
 * @return 0 always; a sleep that fails for another reason than a signal ends early.
 */
PLEXOR_API int Sleep(unsigned seconds);

/**
 * Sleeps for microseconds. A signal does not shorten the sleep.
 *
 * @param microseconds  time to sleep
 * @return 0 when the time has passed, otherwise the errno value of the failure (never EINTR).
 */
PLEXOR_API int USleep(unsigned microseconds);

/**
 * Reads a process-id file.
 *
 * @param path  file to read
 * @return the number that the file starts with after blanks, read as scanf's %d does; PLEXOR_NO_PROCESS when
 *         there is none. On standard error stands "## Can not open %s \n" (path; nothing for null) when the
 *         file cannot be opened, and "## Read %s EOF\n" (path) when it holds nothing but blanks or cannot be
 *         read. Other text is no process and says nothing.
 */
PLEXOR_API int ReadPid(const char *path);

/**
 * Writes the process-id file of name and opens the system log under that name.
 *
 * @param name  process name; nothing happens when it is null or "/var/run/NAME.pid" has 100 characters or
 *              more
 * @param pid   process id to write
 *
 * In this order: "/var/run/NAME.pid" is created or emptied and gets the id and a newline (a file that cannot
 * be opened is passed over); the system log is opened with ident name, no options and facility LOG_USER; the
 * line "###Start...:PID=%d\n" (pid) is logged at LOG_INFO; "WriteProcPid:%s=%d\n" (name, pid) is printed.
 * Keeps its own copy of name for the system log. Not for two threads at once.
 */
PLEXOR_API void WriteProcPid_OpenLog(const char *name, int pid);

/** Failed probes of the network monitor in a row, as checkpid counts them in this process. */
PLEXOR_API extern int pingmgr_count;

/**
 * One step of the network monitor's watchdog, to be called about once a second by one thread of one process.
 *
 * The process in "/var/run/pingmgr.pid" is probed with signal 0. A probe that succeeds sets pingmgr_count to
 * 0. One that fails (a file that is missing or holds no process id, or one below 1, included) adds 1 to it;
 * the third in a row sets it to 0, prints "\n#### Warning: pingmgr lost... \n" and runs the shell command
 * "pingmgr &". A missing file also writes ReadPid's line to standard error.
 */
PLEXOR_API void checkpid(void);

/**
 * Queues the switch notification to the MQTT connector.
 *
 * @param name   who sends; appears only in the printed line, null as nothing
 * @param value  value that travels with the signal
 * @return 1 when the signal was queued, otherwise 0.
 *
 * Nothing is sent or printed unless the integer parameters "mqtt_enable" and "mqtt_connect" are both 1.
 * Then "/var/run/cnt3.pid" is read (with ReadPid's lines on standard error), and before the signal is queued
 * "#### %s sending %d signal to cnt3, val=%d......\n" (name, signal, value) is printed, after a failure
 * "#### sigqueue error".
 */
PLEXOR_API int SendProcessSig(const char *name, int value);

/**
 * Stamps the last-switch timestamp with the present monotonic time.
 *
 * The segment is looked up, and created with permission bits 0 where it does not exist (only root reads and
 * writes it). When it cannot be attached nothing happens.
 */
PLEXOR_API void LPOL(void);

/**
 * Splits text in place into tokens.
 *
 * @param out         receives a pointer to each token in order; the caller makes it large enough
 * @param text        text to split; delimiters after tokens are overwritten with zeros
 * @param delimiters  each of its characters separates; several in a row count as one
 * @return a null pointer always. Nothing happens when an argument is null.
 */
PLEXOR_API char *split(char **out, char *text, const char *delimiters);

/**
 * Converts two hexadecimal digits.
 *
 * @param digits  two characters
 * @return their value, 0 to 255; 0 for a null pointer or when one of them is no digit.
 *
 * Character codes from 71 ('G') up are lowered by 32 first, which makes small letters large; as a side effect
 * the letters 'P' to 'Y' count as the digits 0 to 9. Callers pass well-formed Ethernet addresses.
 */
PLEXOR_API unsigned Char2ByteFun(const unsigned char *digits);

/**
 * Default name of a port, "DeviceName_1" to "DeviceName_8".
 *
 * @param index   port, 1 to 8
 * @param buffer  receives the name; all its bytes are cleared first
 * @param size    size of buffer in bytes, at least 1; a name that does not fit is cut
 * @return 1, or 0 with the buffer untouched for an index outside its range, a null buffer or a size below 1.
 */
PLEXOR_API int GetDeviceName(unsigned index, char *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif
