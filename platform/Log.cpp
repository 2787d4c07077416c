#include "platform/Log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {

unsigned int DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
unsigned int DDSLog_g_submoduleMask = 0xFFFFFFFFu;
int ZynLog_g_detectPrecondition = 1;
int ZynLog_g_preconditionDetected = 0;
unsigned int ZynLog_g_categoryMask[ZYN_LOG_CATEGORY_MASK_COUNT] = {
    0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
    0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu,
    0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
unsigned int ZynLog_g_assertBreakpointCount = 0;

#define ZYN_LOG_DEFINE_TEMPLATE(id, text) const ZynLogMessageTemplate id = {#id, text};
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_PRECONDITION_FAILURE_s, "precondition failed: %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_ANY_FAILURE_s, "failure: %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_ANY_FAILURE_ss, "failure: %s%s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_ADD_FAILURE_s, "failed to add %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_GET_FAILURE_s, "failed to get %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_GET_FAILURE_ss, "failed to get %s%s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FINALIZE_s, "failed to finalize %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_PARSER_FAILURE_ss, "cannot parse %s: \"%s\"")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_BAD_STRING_FORMAT_ss, "bad format of %s: \"%s\"")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_PARSER_VALUE_OUT_OF_RANGE_ss, "value of %s out of range %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_UNEXPECTED_PROPERTY_sssss,
                        "%sunexpected property \"%s\"; did you mean \"%s%s\"? (checked under %s)")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE, "bad parameter: %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE, "failed to allocate %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE, "failed to initialize %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_ADD_TEMPLATE, "failed to add %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_SET_TEMPLATE, "failed to set %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_GET_TEMPLATE, "failed to get %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_COPY_TEMPLATE, "failed to copy %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_FINALIZE_TEMPLATE, "failed to finalize %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE, "conversion failed: %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_INITIALIZE_TEMPLATE, "failed to initialize %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_LOG_INCONSISTENT_QOS_TEMPLATE, "inconsistent QoS: %s")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_OSAPI_UTILITY_LOG_SNPRINTF_INT_FAILURE_ddd,
                        "snprintf into %d bytes of %d failed with %d")
ZYN_LOG_DEFINE_TEMPLATE(ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd,
                        "out of memory for an array of %d slots of %d bytes")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_BAD_PARAMETER_s, "bad parameter: %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_OUT_OF_RESOURCES_s, "out of resources for %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_SET_FAILURE_s, "failed to set %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_GET_FAILURE_s, "failed to get %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_COPY_FAILURE_s, "failed to copy %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_CONCATENATE_STRING_ssd,
                        "cannot concatenate \"%s\" and \"%s\" within %d characters")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_INCONSISTENT_POLICIES_sdsd,
                        "inconsistent policies: %s (%d) exceeds %s (%d)")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_INCONSISTENT_POLICIES_sdsds,
                        "inconsistent policies: %s (%d) exceeds %s (%d). %s")
ZYN_LOG_DEFINE_TEMPLATE(DDS_LOG_INCONSISTENT_PROPERTY_sss, "inconsistent %s property \"%s\": %s")
#undef ZYN_LOG_DEFINE_TEMPLATE

}  // extern "C"

namespace {

ZynLogSinkFn g_sink = nullptr;
void *g_sinkUserData = nullptr;

constexpr int kMaxArgs = 8;
constexpr size_t kTextSize = 2048;

const char *levelName(int level)
{
    switch (level) {
    case ZYN_LOG_LEVEL_PRECONDITION:
        return "PRECONDITION";
    case ZYN_LOG_LEVEL_ERROR:
        return "ERROR";
    case ZYN_LOG_LEVEL_WARNING:
        return "WARNING";
    default:
        return "STATUS";
    }
}

// Formats into `buffer` when it fits, else into a malloc'd block that the caller frees. Logging
// stays off the module's heap so that an injected allocation failure never hides its entry.
char *formatText(char *buffer, size_t size, char **heapText, const char *format, va_list args)
{
    va_list again;
    va_copy(again, args);
    int needed = std::vsnprintf(buffer, size, format, args);
    char *text = buffer;
    if (needed >= 0 && static_cast<size_t>(needed) >= size) {
        char *bigger = static_cast<char *>(std::malloc(static_cast<size_t>(needed) + 1));
        if (bigger != nullptr) {
            std::vsnprintf(bigger, static_cast<size_t>(needed) + 1, format, again);
            *heapText = bigger;
            text = bigger;
        }
    }
    va_end(again);
    return text;
}

void emit(int level, int moduleId, const char *file, int line, const char *function,
          const ZynLogMessageTemplate *messageTemplate, int argCount, const char *const *args,
          const char *message)
{
    ZynLogEntry entry;
    entry.level = level;
    entry.moduleId = moduleId;
    entry.file = file;
    entry.line = line;
    entry.function = function;
    entry.templateId = messageTemplate->id;
    entry.argCount = argCount;
    entry.args = args;
    entry.message = message;
    if (g_sink != nullptr) {
        g_sink(&entry, g_sinkUserData);
        return;
    }
    std::fprintf(stderr, "propqos %s %s: %s\n", levelName(level), function ? function : "",
                 message);
}

// The argument letters of an identifier: what follows its last '_', when that is made only of
// 's' and 'd'; a _TEMPLATE identifier (or any other) takes no argument here.
const char *argumentLetters(const char *id)
{
    const char *underscore = std::strrchr(id, '_');
    if (underscore == nullptr) {
        return "";
    }
    const char *letters = underscore + 1;
    return letters[std::strspn(letters, "sd")] == '\0' ? letters : "";
}

}  // namespace

extern "C" {

void ZynLog_setSink(ZynLogSinkFn sink, void *userData)
{
    g_sink = sink;
    g_sinkUserData = userData;
}

void ZynLog_getSink(ZynLogSinkFn *sink, void **userData)
{
    if (sink != nullptr) {
        *sink = g_sink;
    }
    if (userData != nullptr) {
        *userData = g_sinkUserData;
    }
}

void ZynLog_onAssertBreakpoint(void) { ++ZynLog_g_assertBreakpointCount; }

int ZynLog_isEnabled(int level)
{
    return (DDSLog_g_instrumentationMask & static_cast<unsigned int>(level)) != 0 &&
           (DDSLog_g_submoduleMask & DDS_SUBMODULE_MASK_PROPERTY) != 0;
}

void ZynLogMessage_printWithParams(int instrumentId, int level, int moduleId, const char *file,
                                   int line, const char *function,
                                   const ZynLogMessageTemplate *messageTemplate, ...)
{
    (void)instrumentId;
    if (messageTemplate == nullptr) {
        return;
    }
    const char *letters = argumentLetters(messageTemplate->id);
    const char *args[kMaxArgs];
    char numbers[kMaxArgs][16];
    int argCount = 0;
    va_list list;
    va_start(list, messageTemplate);
    for (const char *letter = letters; *letter != '\0' && argCount < kMaxArgs; ++letter) {
        if (*letter == 'd') {
            std::snprintf(numbers[argCount], sizeof numbers[argCount], "%d", va_arg(list, int));
            args[argCount] = numbers[argCount];
        } else {
            const char *text = va_arg(list, const char *);
            args[argCount] = text != nullptr ? text : "NULL";
        }
        ++argCount;
    }
    va_end(list);

    // Render by substituting the texts, in order, for the template's conversions.
    char message[kTextSize];
    size_t used = 0;
    int next = 0;
    for (const char *p = messageTemplate->text; *p != '\0' && used + 1 < sizeof message; ++p) {
        if (p[0] == '%' && (p[1] == 's' || p[1] == 'd') && next < argCount) {
            size_t length = std::strlen(args[next]);
            size_t room = sizeof message - 1 - used;
            size_t n = length < room ? length : room;
            std::memcpy(message + used, args[next], n);
            used += n;
            ++next;
            ++p;
        } else {
            message[used++] = *p;
        }
    }
    message[used] = '\0';
    emit(level, moduleId, file, line, function, messageTemplate, argCount, args, message);
}

void ZynLogMessageParamString_printWithParams(int instrumentId, int level, int moduleId,
                                              const char *file, int line, const char *function,
                                              const ZynLogMessageTemplate *messageTemplate,
                                              const char *format, ...)
{
    (void)instrumentId;
    if (messageTemplate == nullptr || format == nullptr) {
        return;
    }
    char textBuffer[kTextSize];
    char *heapText = nullptr;
    va_list list;
    va_start(list, format);
    const char *text = formatText(textBuffer, sizeof textBuffer, &heapText, format, list);
    va_end(list);

    char messageBuffer[kTextSize];
    char *heapMessage = nullptr;
    const char *message = messageBuffer;
    int needed = std::snprintf(messageBuffer, sizeof messageBuffer, messageTemplate->text, text);
    if (needed >= 0 && static_cast<size_t>(needed) >= sizeof messageBuffer) {
        heapMessage = static_cast<char *>(std::malloc(static_cast<size_t>(needed) + 1));
        if (heapMessage != nullptr) {
            std::snprintf(heapMessage, static_cast<size_t>(needed) + 1, messageTemplate->text, text);
            message = heapMessage;
        }
    }
    const char *args[1] = {text};
    emit(level, moduleId, file, line, function, messageTemplate, 1, args, message);
    std::free(heapMessage);
    std::free(heapText);
}

void ZynLog_preconditionFailed(const char *file, int line, const char *function,
                               const char *quotedTest)
{
    if (ZynLog_isEnabled(ZYN_LOG_LEVEL_PRECONDITION)) {
        ZynLogMessage_printWithParams(-1, ZYN_LOG_LEVEL_PRECONDITION, ZYN_LOG_MODULE_ID, file, line,
                                      function, &ZYN_LOG_PRECONDITION_FAILURE_s, quotedTest);
    }
    if (ZynLog_g_detectPrecondition) {
        ZynLog_g_preconditionDetected = 1;
    }
    ZynLog_onAssertBreakpoint();
}

}  // extern "C"
