#include "platform/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace propqos_internal {

struct LogDiversionAccess {
    static void deliver(const LogDiversion &diversion, const ZynLogEntry &entry)
    {
        diversion.receiver_(&entry, diversion.userData_);
    }
};

}  // namespace propqos_internal

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
ZYN_LOG_TEMPLATES(ZYN_LOG_DEFINE_TEMPLATE)
#undef ZYN_LOG_DEFINE_TEMPLATE

}  // extern "C"

namespace {

// The template table's texts agree with their identifiers: a conversion for each argument
// letter, in order, and exactly one %s in the text of a _TEMPLATE identifier.
constexpr bool textMatchesLetters(const char *id, const char *text)
{
    using propqos_internal::logcheck::endsWith;
    using propqos_internal::logcheck::lettersOf;
    const char *letters = endsWith(id, "_TEMPLATE") ? "s" : lettersOf(id);
    if (letters[0] == '\0') {
        return false;
    }
    for (const char *p = text; *p != '\0'; ++p) {
        if (*p == '%') {
            if (*letters == '\0' || p[1] != *letters) {
                return false;
            }
            ++letters;
            ++p;
        }
    }
    return *letters == '\0';
}
#define ZYN_LOG_CHECK_TEMPLATE_(id, text)                                                      \
    static_assert(textMatchesLetters(#id, text), "the text of " #id " does not match its letters");
ZYN_LOG_TEMPLATES(ZYN_LOG_CHECK_TEMPLATE_)
#undef ZYN_LOG_CHECK_TEMPLATE_

// The sink and its user data change together: a setter fills the slot not in use and publishes
// it with one store, so that a writer reads both from the same call of ZynLog_setSink. Each
// slot counts the writers inside its sink; a setter waits for the count of the slot it retired
// to drop, so that the old sink is done with when it returns, and reuses that slot next time.
struct SinkSlot {
    ZynLogSinkFn sink;
    void *userData;
};
SinkSlot g_slots[2];
std::atomic<SinkSlot *> g_current{nullptr};
std::atomic<unsigned int> g_callers[2];
std::mutex g_setterLock;
// Calls of each slot's sink on this thread's stack: a setter called from inside a sink does not
// wait for itself.
thread_local unsigned int t_inside[2];
// The diversion in force on this thread, if any.
thread_local propqos_internal::LogDiversion *t_diversion = nullptr;

// Runs `use(slot)` with the slot in force held, so that no setter reuses it meanwhile (null: no
// sink is set).
template <typename Use>
void withCurrentSink(Use use)
{
    for (;;) {
        SinkSlot *slot = g_current.load();
        if (slot == nullptr) {
            use(nullptr);
            return;
        }
        const size_t i = static_cast<size_t>(slot - g_slots);
        g_callers[i].fetch_add(1);
        // Held only if still in force after the count went up: a setter that retired the slot
        // in between may already have seen the count without us.
        if (g_current.load() != slot) {
            g_callers[i].fetch_sub(1, std::memory_order_release);
            continue;
        }
        ++t_inside[i];
        use(slot);
        --t_inside[i];
        g_callers[i].fetch_sub(1, std::memory_order_release);
        return;
    }
}

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
    if (t_diversion != nullptr) {
        propqos_internal::LogDiversionAccess::deliver(*t_diversion, entry);
        return;
    }
    withCurrentSink([&](const SinkSlot *slot) {
        if (slot != nullptr) {
            slot->sink(&entry, slot->userData);
        } else {
            // Some templates end in a line break of their own: one is enough.
            const std::size_t length = std::strlen(message);
            const int shown = static_cast<int>(
                length > 0 && message[length - 1] == '\n' ? length - 1 : length);
            std::fprintf(stderr, "propqos %s %s: %.*s\n", levelName(level),
                         function ? function : "", shown, message);
        }
    });
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

namespace propqos_internal {

LogDiversion::LogDiversion(ZynLogSinkFn receiver, void *userData) noexcept
    : receiver_(receiver), userData_(userData), outer_(t_diversion)
{
    t_diversion = this;
}

LogDiversion::~LogDiversion() { t_diversion = outer_; }

}  // namespace propqos_internal

extern "C" {

void ZynLog_setSink(ZynLogSinkFn sink, void *userData)
{
    const std::lock_guard<std::mutex> setters(g_setterLock);
    SinkSlot *retired = g_current.load();
    SinkSlot *next = nullptr;
    if (sink != nullptr) {
        // The other slot: unused since the setter before last waited for its callers.
        next = retired == &g_slots[0] ? &g_slots[1] : &g_slots[0];
        next->sink = sink;
        next->userData = userData;
    }
    g_current.store(next);
    if (retired != nullptr) {
        const size_t i = static_cast<size_t>(retired - g_slots);
        while (g_callers[i].load() != t_inside[i]) {
            std::this_thread::yield();
        }
    }
}

void ZynLog_getSink(ZynLogSinkFn *sink, void **userData)
{
    withCurrentSink([&](const SinkSlot *slot) {
        if (sink != nullptr) {
            *sink = slot != nullptr ? slot->sink : nullptr;
        }
        if (userData != nullptr) {
            *userData = slot != nullptr ? slot->userData : nullptr;
        }
    });
}

void ZynLog_onAssertBreakpoint(void)
{
    __atomic_fetch_add(&ZynLog_g_assertBreakpointCount, 1u, __ATOMIC_RELAXED);
}

int ZynLog_isEnabled(int level)
{
    if (t_diversion != nullptr) {
        return 1;
    }
    return (__atomic_load_n(&DDSLog_g_instrumentationMask, __ATOMIC_RELAXED) &
            static_cast<unsigned int>(level)) != 0 &&
           (__atomic_load_n(&DDSLog_g_submoduleMask, __ATOMIC_RELAXED) &
            DDS_SUBMODULE_MASK_PROPERTY) != 0;
}

unsigned int ZynLog_getCategoryMask(int level)
{
    if (level < 0 || level >= ZYN_LOG_CATEGORY_MASK_COUNT) {
        return 0;
    }
    return __atomic_load_n(&ZynLog_g_categoryMask[level], __ATOMIC_RELAXED);
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
    if (__atomic_load_n(&ZynLog_g_detectPrecondition, __ATOMIC_RELAXED) != 0) {
        __atomic_store_n(&ZynLog_g_preconditionDetected, 1, __ATOMIC_RELAXED);
    }
    ZynLog_onAssertBreakpoint();
}

}  // extern "C"
