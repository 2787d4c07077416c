/* The logging service's public face: levels, the masks that gate entries, the precondition flags
 * and the sink that receives written entries.
 *
 * An entry is written when DDSLog_g_instrumentationMask has the entry's level bit and
 * DDSLog_g_submoduleMask has DDS_SUBMODULE_MASK_PROPERTY; both are read for every entry. Written
 * entries go to the sink when one is set, otherwise to standard error.
 *
 * Threads. Any number of threads may write entries (that is, call the library) at once, while
 * others set the sink and change the masks and flags:
 * - the library reads and updates every variable below atomically (relaxed: a change is seen by
 *   the entries that start after it, in no promised order against other memory). A program that
 *   changes one while other threads use the library must store it atomically too, for instance
 *   `__atomic_store_n(&DDSLog_g_instrumentationMask, mask, __ATOMIC_RELAXED)`; a plain
 *   assignment is fine before the threads start;
 * - ZynLog_setSink may run at any time from any thread; see its own note for what it promises;
 * - a sink is called on the thread that writes the entry, possibly on several threads at once,
 *   so it must be safe to call concurrently with itself, and it must return normally (no
 *   exception or long jump out of it). The entry and everything it points to live only until the
 *   sink returns.
 * The C++ API (<propqos/PropertyList.hpp>) writes nothing to the log and reads none of this. */
#ifndef PROPQOS_LOG_H
#define PROPQOS_LOG_H

#include "Export.h"

#include "Types.h"

PROPQOS_BEGIN_DECLS

#define ZYN_LOG_LEVEL_PRECONDITION 1
#define ZYN_LOG_LEVEL_ERROR 2
#define ZYN_LOG_LEVEL_WARNING 4
#define ZYN_LOG_LEVEL_STATUS_LOCAL 8

/* Verbosities: masks of levels. */
#define ZYN_LOG_VERBOSITY_SILENT 0
#define ZYN_LOG_VERBOSITY_ERROR 3
#define ZYN_LOG_VERBOSITY_WARNING 7
#define ZYN_LOG_VERBOSITY_STATUS_LOCAL 15

#define ZYN_LOG_MODULE_ID 0xF0000
/* This module's bit in DDSLog_g_submoduleMask. */
#define DDS_SUBMODULE_MASK_PROPERTY 4

/* Starts at ZYN_LOG_VERBOSITY_WARNING; every submodule bit is set at start. Atomic objects in
 * all but type: see "Threads" above. */
extern unsigned int DDSLog_g_instrumentationMask;
extern unsigned int DDSLog_g_submoduleMask;
/* When non-zero (the default) a precondition failure sets ZynLog_g_preconditionDetected. */
extern int ZynLog_g_detectPrecondition;
extern int ZynLog_g_preconditionDetected;
/* Category masks by level (index = level value); a worker's activity context is compared with
 * element ZYN_LOG_LEVEL_ERROR. All bits are set at start. */
#define ZYN_LOG_CATEGORY_MASK_COUNT 16
extern unsigned int ZynLog_g_categoryMask[ZYN_LOG_CATEGORY_MASK_COUNT];
/* Raised by ZynLog_onAssertBreakpoint, which every precondition failure calls. */
extern unsigned int ZynLog_g_assertBreakpointCount;
void ZynLog_onAssertBreakpoint(void);

typedef struct ZynLogEntry {
    int level;                 /* 1 precondition, 2 error, 4 warning */
    int moduleId;              /* 0xF0000 */
    const char *file;
    int line;
    const char *function;
    const char *templateId;    /* the identifier, e.g. "ZYN_LOG_PRECONDITION_FAILURE_s" */
    int argCount;
    const char *const *args;   /* each argument as text (integers in decimal); for a _TEMPLATE
                                  identifier one argument: the printf-formatted text */
    const char *message;       /* the rendered message */
} ZynLogEntry;
typedef void (*ZynLogSinkFn)(const ZynLogEntry *entry, void *userData);
/* Sends written entries to `sink` with `userData` (NULL: back to standard error). The pair
 * changes as one: no entry ever reaches a sink with another sink's user data. Each entry goes
 * either to the old sink or to the new one, never to both and never lost.
 *
 * When the call returns, the sink it replaced is not running on any other thread and will not
 * be called again, so its user data may be released. To give that promise it waits for the calls
 * of the old sink in progress; a sink must therefore not wait for a thread that is setting the
 * sink, and should not call ZynLog_setSink itself (if it does, the call does not wait for the
 * sink call it is made from, which is still running when it returns). Several threads may set
 * the sink at once: the calls take effect one after another. */
void ZynLog_setSink(ZynLogSinkFn sink, void *userData);
/* The sink now set (null for standard error) and its user data, read as one pair, so that a
 * scoped capture can restore it. */
void ZynLog_getSink(ZynLogSinkFn *sink, void **userData);

PROPQOS_END_DECLS

#endif
