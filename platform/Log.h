/* The logging service as the module's own code uses it: message templates, the two printers and
 * the macros that write entries. Callers of the library use <propqos/Log.h>. */
#ifndef PROPQOS_PLATFORM_LOG_H
#define PROPQOS_PLATFORM_LOG_H

#include <propqos/Log.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A message template: its identifier, whose suffix after the last '_' lists the arguments
 * (s a string, d an int), or ends in TEMPLATE for a printf-style text; and a text of our own. */
typedef struct ZynLogMessageTemplate {
    const char *id;
    const char *text;
} ZynLogMessageTemplate;

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
