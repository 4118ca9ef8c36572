/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file companion.h
 * The appliance's other processes, found by their process-id files and checked by the program that they run.
 */
#ifndef PLEXOR_COMPANION_H
#define PLEXOR_COMPANION_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds the camera process "uvc_stream".
 *
 * @return its process id, or 0 when it is not running: fewer than two lines of the shell command "ps | grep
 *         -c uvc_stream\n" name it (one is the grep's own), "/tmp/uvc_pid.txt" holds no process id, or that
 *         process runs no program with "/uvc_stream" in its path.
 *
 * Two lines go to standard error: "uvc_stream count1a:%d\n" (lines found), and for a process that was found
 * "prepid:%d,%s\n" (process id, path of its program).
 */
PLEXOR_API int readUvcPid(void);

/**
 * readUvcPid, and the process must answer signal 0. When there is none "/tmp/uvc_pid.txt" is removed.
 *
 * @return its process id, or 0.
 */
PLEXOR_API int isUVCRuning(void);

/**
 * Sends a signal to the process in "/var/run/NAME.pid".
 *
 * @param signal  signal number
 * @param name    name of the process
 * @return what kill() returns; nothing is sent for -2, no such file (or name is null, or the path has 100
 *         characters or more), -3, it holds no process id of 1 or above, -4, no such process, or one whose
 *         program the caller may not see, and -5, its program's path does not contain name.
 *
 * Before the signal is sent "SendSignalToProc:%d -> %s\n" (signal, name) is logged at LOG_INFO.
 */
PLEXOR_API int SendSignalToProc(int signal, const char *name);

#ifdef __cplusplus
}
#endif

#endif
