/* The logging service's public face: levels, the masks that gate entries, the precondition flags
 * and the sink that receives written entries.
 *
 * An entry is written when DDSLog_g_instrumentationMask has the entry's level bit and
 * DDSLog_g_submoduleMask has DDS_SUBMODULE_MASK_PROPERTY; both are read for every entry. Written
 * entries go to the sink when one is set, otherwise to standard error. */
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

/* Starts at ZYN_LOG_VERBOSITY_WARNING; every submodule bit is set at start. */
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
void ZynLog_setSink(ZynLogSinkFn sink, void *userData);    /* NULL: back to standard error */
/* The sink now set (null for standard error), so that a scoped capture can restore it. */
void ZynLog_getSink(ZynLogSinkFn *sink, void **userData);

PROPQOS_END_DECLS

#endif
