/* The logging service: two printers, the masks that gate them, the precondition machinery and a
 * capture sink for tests and tools.
 *
 * An entry is written when DDSLog_g_instrumentationMask has the entry's level bit and
 * DDSLog_g_submoduleMask has DDS_SUBMODULE_MASK_PROPERTY; both are read for every entry. Written
 * entries go to the sink when one is set, otherwise to standard error. */
#ifndef PROPQOS_PLATFORM_LOG_H
#define PROPQOS_PLATFORM_LOG_H

#include "platform/Types.h"

#ifdef __cplusplus
extern "C" {
#endif

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

/* A message template: its identifier, whose suffix after the last '_' lists the arguments
 * (s a string, d an int), or ends in TEMPLATE for a printf-style text; and a text of our own. */
typedef struct ZynLogMessageTemplate {
    const char *id;
    const char *text;
} ZynLogMessageTemplate;

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

/* Both printers write unconditionally: the masks are the caller's test (ZynLog_isEnabled).
 * `instrumentId` is -1 for this module. The variadic arguments follow the template's suffix:
 * a const char * for each s (null prints as "NULL"), an int for each d. */
void ZynLogMessage_printWithParams(int instrumentId, int level, int moduleId, const char *file,
                                   int line, const char *function,
                                   const ZynLogMessageTemplate *messageTemplate, ...);
/* For _TEMPLATE identifiers: a printf-style format and its arguments. */
void ZynLogMessageParamString_printWithParams(int instrumentId, int level, int moduleId,
                                              const char *file, int line, const char *function,
                                              const ZynLogMessageTemplate *messageTemplate,
                                              const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 8, 9)))
#endif
    ;

/* Non-zero when an entry of `level` from this module would be written now. */
int ZynLog_isEnabled(int level);

/* Writes the precondition entry (when the masks allow), raises the detected flag (when the switch
 * is on) and calls the assertion hook. `quotedTest` is the failed test in double quotes. */
void ZynLog_preconditionFailed(const char *file, int line, const char *function,
                               const char *quotedTest);

/* The templates this module writes with. */
#define ZYN_LOG_DECLARE_TEMPLATE(id) extern const ZynLogMessageTemplate id;
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_PRECONDITION_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_ANY_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_ANY_FAILURE_ss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_ADD_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_GET_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_GET_FAILURE_ss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FINALIZE_s)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_PARSER_FAILURE_ss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_BAD_STRING_FORMAT_ss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_UNEXPECTED_PROPERTY_sssss)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_ADD_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_SET_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_GET_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_COPY_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_FINALIZE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_INITIALIZE_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_LOG_INCONSISTENT_QOS_TEMPLATE)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_OSAPI_UTILITY_LOG_SNPRINTF_INT_FAILURE_ddd)
ZYN_LOG_DECLARE_TEMPLATE(ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_BAD_PARAMETER_s)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_OUT_OF_RESOURCES_s)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_SET_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_GET_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_COPY_FAILURE_s)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_CONCATENATE_STRING_ssd)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_INCONSISTENT_POLICIES_sdsd)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_INCONSISTENT_POLICIES_sdsds)
ZYN_LOG_DECLARE_TEMPLATE(DDS_LOG_INCONSISTENT_PROPERTY_sss)
#undef ZYN_LOG_DECLARE_TEMPLATE

#ifdef __cplusplus
}
#endif

/* Helpers for the module's own code (not needed by callers). */
#define ZYN_LOG_STR_(x) #x
#define ZYN_LOG_XSTR_(x) ZYN_LOG_STR_(x)
/* The test text of a null check, as the precondition entry quotes it. */
#define ZYN_IS_NULL(p) p == ((void *)0)

/* Precondition check: when `test` holds, log it (quoted, exactly as written after macro
 * expansion), raise the flag, hit the breakpoint hook, then run the statement `onFailure`. */
#define ZYN_PRECONDITION(test, onFailure)                                                    \
    do {                                                                                     \
        if (test) {                                                                          \
            ZynLog_preconditionFailed(__FILE__, __LINE__, __func__,                          \
                                      "\"" ZYN_LOG_XSTR_(test) "\"");                        \
            onFailure;                                                                       \
        }                                                                                    \
    } while (0)

/* An entry from a template with s/d arguments, filed under `function`. */
#define ZYN_LOG_IN(function, level, messageTemplate, ...)                                    \
    do {                                                                                     \
        if (ZynLog_isEnabled(level))                                                         \
            ZynLogMessage_printWithParams(-1, (level), ZYN_LOG_MODULE_ID, __FILE__, __LINE__,\
                                          (function), &(messageTemplate), __VA_ARGS__);      \
    } while (0)
/* An entry from a _TEMPLATE identifier with a printf-style text, filed under `function`. */
#define ZYN_LOG_TEXT_IN(function, level, messageTemplate, ...)                               \
    do {                                                                                     \
        if (ZynLog_isEnabled(level))                                                         \
            ZynLogMessageParamString_printWithParams(-1, (level), ZYN_LOG_MODULE_ID,         \
                                                     __FILE__, __LINE__, (function),         \
                                                     &(messageTemplate), __VA_ARGS__);       \
    } while (0)
#define ZYN_LOG(level, messageTemplate, ...) ZYN_LOG_IN(__func__, level, messageTemplate, __VA_ARGS__)
#define ZYN_LOG_TEXT(level, messageTemplate, ...)                                            \
    ZYN_LOG_TEXT_IN(__func__, level, messageTemplate, __VA_ARGS__)

#endif
