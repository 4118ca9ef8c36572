/* SPDX-License-Identifier: Apache-2.0 */
#ifndef PLEXOR_EXPORT_H
#define PLEXOR_EXPORT_H

/* Marks what libplexor.so.0 exports; everything else in it is hidden. */
#define PLEXOR_API __attribute__((visibility("default")))

#endif
