/* The logging service as the module's own code uses it: message templates, the two printers and
 * the macros that write entries. Callers of the library use <propqos/Log.h>. */
#ifndef PROPQOS_PLATFORM_LOG_H
#define PROPQOS_PLATFORM_LOG_H

#include <propqos/Log.h>

#include <cstddef>
#include <type_traits>

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
/* Element `level` of ZynLog_g_categoryMask (0 outside the array), read as another thread may be
 * storing it. */
unsigned int ZynLog_getCategoryMask(int level);

/* Writes the precondition entry (when the masks allow), raises the detected flag (when the switch
 * is on) and calls the assertion hook. `quotedTest` is the failed test in double quotes. */
void ZynLog_preconditionFailed(const char *file, int line, const char *function,
                               const char *quotedTest);

/* The templates this module writes with: one row per template, its identifier and its text. The
 * identifier's letters and the text's conversions agree (checked at compile time in Log.cpp). */
#define ZYN_LOG_TEMPLATES(X) \
    X(ZYN_LOG_PRECONDITION_FAILURE_s, "precondition failed: %s") \
    X(ZYN_LOG_ANY_FAILURE_s, "failure: %s") \
    X(ZYN_LOG_ANY_FAILURE_ss, "failure: %s%s") \
    X(ZYN_LOG_ADD_FAILURE_s, "failed to add %s") \
    X(ZYN_LOG_GET_FAILURE_s, "failed to get %s") \
    X(ZYN_LOG_GET_FAILURE_ss, "failed to get %s%s") \
    X(ZYN_LOG_FINALIZE_s, "failed to finalize %s") \
    X(ZYN_LOG_PARSER_FAILURE_ss, "cannot parse %s: \"%s\"") \
    X(ZYN_LOG_BAD_STRING_FORMAT_ss, "bad format of %s: \"%s\"") \
    X(ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss, "value of %s out of range %s") \
    X(ZYN_LOG_UNEXPECTED_PROPERTY_sssss, "%sunexpected property \"%s\"; did you mean \"%s%s\"? (checked under %s)") \
    X(ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "bad parameter: %s") \
    X(ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE, "failed to allocate %s") \
    X(ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE, "failed to initialize %s") \
    X(ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "failed to add %s") \
    X(ZYN_LOG_FAILED_TO_SET_TEMPLATE, "failed to set %s") \
    X(ZYN_LOG_FAILED_TO_GET_TEMPLATE, "failed to get %s") \
    X(ZYN_LOG_FAILED_TO_COPY_TEMPLATE, "failed to copy %s") \
    X(ZYN_LOG_FAILED_TO_FINALIZE_TEMPLATE, "failed to finalize %s") \
    X(ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE, "conversion failed: %s") \
    X(ZYN_LOG_INITIALIZE_TEMPLATE, "failed to initialize %s") \
    X(ZYN_LOG_INCONSISTENT_QOS_TEMPLATE, "inconsistent QoS: %s") \
    X(ZYN_OSAPI_UTILITY_LOG_SNPRINTF_INT_FAILURE_ddd, "snprintf into %d bytes of %d failed with %d") \
    X(ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd, "out of memory for an array of %d slots of %d bytes") \
    X(DDS_LOG_BAD_PARAMETER_s, "bad parameter: %s") \
    X(DDS_LOG_OUT_OF_RESOURCES_s, "out of resources for %s") \
    X(DDS_LOG_SET_FAILURE_s, "failed to set %s") \
    X(DDS_LOG_GET_FAILURE_s, "failed to get %s") \
    X(DDS_LOG_COPY_FAILURE_s, "failed to copy %s") \
    X(DDS_LOG_CONCATENATE_STRING_ssd, "cannot concatenate \"%s\" and \"%s\" within %d characters") \
    X(DDS_LOG_INCONSISTENT_POLICIES_sdsd, "inconsistent policies: %s (%d) exceeds %s (%d)") \
    X(DDS_LOG_INCONSISTENT_POLICIES_sdsds, "inconsistent policies: %s (%d) exceeds %s (%d). %s") \
    X(DDS_LOG_INCONSISTENT_PROPERTY_sss, "inconsistent %s property \"%s\": %s")

#define ZYN_LOG_DECLARE_TEMPLATE_(id, text) extern const ZynLogMessageTemplate id;
ZYN_LOG_TEMPLATES(ZYN_LOG_DECLARE_TEMPLATE_)
#undef ZYN_LOG_DECLARE_TEMPLATE_

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
#define ZYN_PRECONDITION(test, onFailure) ZYN_PRECONDITION_IN(__func__, test, onFailure)
/* The same, the entry filed under `function`. */
#define ZYN_PRECONDITION_IN(function, test, onFailure)                                       \
    do {                                                                                     \
        if (test) {                                                                          \
            ZynLog_preconditionFailed(__FILE__, __LINE__, (function),                        \
                                      "\"" ZYN_LOG_XSTR_(test) "\"");                        \
            onFailure;                                                                       \
        }                                                                                    \
    } while (0)

namespace propqos_internal {

/* Entries written on this thread while a diversion lives go to its function instead of the sink,
 * whatever the masks say; other threads and the process-wide sink are left alone. Diversions
 * nest (the innermost one receives). The C++ API uses one to carry the module's words about a
 * failed call into its error or report, without writing them to the application's log. */
class LogDiversion {
public:
    LogDiversion(ZynLogSinkFn receiver, void *userData) noexcept;
    ~LogDiversion();
    LogDiversion(const LogDiversion &) = delete;
    LogDiversion &operator=(const LogDiversion &) = delete;

private:
    ZynLogSinkFn receiver_;
    void *userData_;
    LogDiversion *outer_;
    friend struct LogDiversionAccess;
};

namespace logcheck {

/* A template identifier's argument letters: what follows its last '_' when that is made only of
 * 's' and 'd'; none otherwise (a _TEMPLATE identifier takes a printf-style text instead). */
constexpr const char *lettersOf(const char *id)
{
    const char *letters = id;
    for (const char *p = id; *p != '\0'; ++p) {
        if (*p == '_') {
            letters = p + 1;
        }
    }
    for (const char *p = letters; *p != '\0'; ++p) {
        if (*p != 's' && *p != 'd') {
            return "";
        }
    }
    return letters;
}

constexpr bool endsWith(const char *text, const char *suffix)
{
    const char *t = text;
    const char *s = suffix;
    while (*t != '\0') {
        ++t;
    }
    while (*s != '\0') {
        ++s;
    }
    while (s != suffix) {
        if (t == text || *--t != *--s) {
            return false;
        }
    }
    return true;
}

/* What an argument for letter 's' or 'd' may be: a string pointer (null prints "NULL") for s;
 * for d an integer that the printer's int holds on every platform. */
template <typename T>
constexpr bool fitsString = std::is_same<T, const char *>::value || std::is_same<T, char *>::value ||
                            std::is_same<T, std::nullptr_t>::value;
template <typename T>
constexpr bool fitsInt = (std::is_integral<T>::value && !std::is_same<T, bool>::value &&
                          sizeof(T) <= sizeof(int)) ||
                         std::is_enum<T>::value;

template <typename... Args>
constexpr bool argumentsFit(const char *letters)
{
    const bool fits[] = {true, (fitsString<Args> || fitsInt<Args>)...};
    const bool isInt[] = {false, fitsInt<Args>...};
    std::size_t count = 0;
    while (letters[count] != '\0') {
        ++count;
    }
    if (count != sizeof...(Args)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!fits[i + 1] || isInt[i + 1] != (letters[i] == 'd')) {
            return false;
        }
    }
    return true;
}

template <typename T>
constexpr auto passed(T value)
{
    if constexpr (fitsInt<T>) {
        return static_cast<int>(value);
    } else if constexpr (fitsString<T>) {
        return static_cast<const char *>(value);
    } else {
        return value; // refused by the static_assert of write()
    }
}

/* One type per template, naming its identifier for the checks below. */
#define ZYN_LOG_TAG_(id, text)                                                                \
    struct id {                                                                               \
        static constexpr const char *name = #id;                                              \
    };
ZYN_LOG_TEMPLATES(ZYN_LOG_TAG_)
#undef ZYN_LOG_TAG_

/* Writes an entry whose arguments were checked against the template's letters at compile
 * time: a call with the wrong number or kind of arguments does not build. */
template <typename Tag, typename... Args>
inline void write(int level, const char *file, int line, const char *function,
                  const ZynLogMessageTemplate *messageTemplate, Args... args)
{
    static_assert(lettersOf(Tag::name)[0] != '\0',
                  "a _TEMPLATE identifier is written with ZYN_LOG_TEXT, not ZYN_LOG");
    static_assert(argumentsFit<Args...>(lettersOf(Tag::name)),
                  "the log arguments do not match the template's letters (s: string, d: int)");
    ZynLogMessage_printWithParams(-1, level, ZYN_LOG_MODULE_ID, file, line, function,
                                  messageTemplate, passed(args)...);
}

}  // namespace logcheck
}  // namespace propqos_internal

/* An entry from a template with s/d arguments, filed under `function`. */
#define ZYN_LOG_IN(function, level, messageTemplate, ...)                                    \
    do {                                                                                     \
        if (ZynLog_isEnabled(level))                                                         \
            ::propqos_internal::logcheck::write<::propqos_internal::logcheck::messageTemplate>( \
                (level), __FILE__, __LINE__, (function), &(::messageTemplate), __VA_ARGS__); \
    } while (0)
/* An entry from a _TEMPLATE identifier with a printf-style text, filed under `function`; the
 * compiler checks the text against its arguments. */
#define ZYN_LOG_TEXT_IN(function, level, messageTemplate, ...)                               \
    do {                                                                                     \
        static_assert(::propqos_internal::logcheck::endsWith(                                \
                          ::propqos_internal::logcheck::messageTemplate::name, "_TEMPLATE"), \
                      "ZYN_LOG_TEXT takes a _TEMPLATE identifier");                         \
        if (ZynLog_isEnabled(level))                                                         \
            ZynLogMessageParamString_printWithParams(-1, (level), ZYN_LOG_MODULE_ID,         \
                                                     __FILE__, __LINE__, (function),         \
                                                     &(::messageTemplate), __VA_ARGS__);     \
    } while (0)
#define ZYN_LOG(level, messageTemplate, ...) ZYN_LOG_IN(__func__, level, messageTemplate, __VA_ARGS__)
#define ZYN_LOG_TEXT(level, messageTemplate, ...)                                            \
    ZYN_LOG_TEXT_IN(__func__, level, messageTemplate, __VA_ARGS__)

#endif
