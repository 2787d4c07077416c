// The library used from many threads at once: logging while the sink and the masks change, and
// the C++ checks run side by side. Run under ThreadSanitizer as well (-DPROPQOS_SANITIZE=thread).
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <propqos/PropertyQosPolicy.h>
#include <propqos/testing.h>

namespace {

// A sink that checks it is called with its own user data and never after it was replaced.
struct CheckedSink {
    std::atomic<long> calls{0};
    std::atomic<int> running{0};
    std::atomic<bool> retired{false};
    std::atomic<long> foreignUserData{0};
    std::atomic<long> callsAfterRetirement{0};

    static void sinkA(const ZynLogEntry *entry, void *userData) { record(entry, userData, 0); }
    static void sinkB(const ZynLogEntry *entry, void *userData) { record(entry, userData, 1); }
    static CheckedSink pair[2];

    static void record(const ZynLogEntry *entry, void *userData, int which)
    {
        CheckedSink &self = pair[which];
        if (userData != &self) {
            self.foreignUserData.fetch_add(1);
            return;
        }
        self.running.fetch_add(1);
        std::this_thread::yield(); // widen the window in which a setter could overtake the call
        if (self.retired.load()) {
            self.callsAfterRetirement.fetch_add(1);
        }
        // Read the whole entry, so that a sanitizer sees every field used during the call.
        std::size_t length = std::strlen(entry->message) + std::strlen(entry->templateId);
        for (int i = 0; i < entry->argCount; ++i) {
            length += std::strlen(entry->args[i]);
        }
        self.calls.fetch_add(length > 0 ? 1 : 0);
        self.running.fetch_sub(1);
    }
};
CheckedSink CheckedSink::pair[2];

TEST(ThreadedLogging, SixteenWritersWhileTheSinkAndMasksChange)
{
    constexpr int kWriters = 16;
    constexpr int kEntriesEach = 2000;
    const unsigned int hitsBefore = ZynLog_g_assertBreakpointCount;
    ZynLog_setSink(&CheckedSink::sinkA, &CheckedSink::pair[0]);

    std::atomic<bool> done{false};
    std::atomic<long> swaps{0};
    long stillRunning = 0;
    std::thread setter([&] {
        int current = 0;
        while (!done.load()) {
            const int next = 1 - current;
            CheckedSink::pair[next].retired.store(false);
            ZynLog_setSink(next == 0 ? &CheckedSink::sinkA : &CheckedSink::sinkB,
                           &CheckedSink::pair[next]);
            // The replaced sink is done with: nothing may still run it or call it again.
            stillRunning += CheckedSink::pair[current].running.load() != 0 ? 1 : 0;
            CheckedSink::pair[current].retired.store(true);
            current = next;
            swaps.fetch_add(1);
            // Bits that leave the writers' error entries and preconditions enabled.
            const unsigned int n = static_cast<unsigned int>(swaps.load());
            __atomic_store_n(&DDSLog_g_instrumentationMask,
                             (n & 1) ? ZYN_LOG_VERBOSITY_STATUS_LOCAL : ZYN_LOG_VERBOSITY_WARNING,
                             __ATOMIC_RELAXED);
            __atomic_store_n(&DDSLog_g_submoduleMask, 0xFFFFFFFFu ^ ((n & 2) << 4),
                             __ATOMIC_RELAXED);
            __atomic_store_n(&ZynLog_g_categoryMask[ZYN_LOG_LEVEL_ERROR], ~n, __ATOMIC_RELAXED);
            __atomic_store_n(&ZynLog_g_detectPrecondition, 1, __ATOMIC_RELAXED);
            __atomic_store_n(&ZynLog_g_preconditionDetected, 0, __ATOMIC_RELAXED);
        }
    });
    std::vector<std::thread> writers;
    for (int t = 0; t < kWriters; ++t) {
        writers.emplace_back([] {
            for (int i = 0; i < kEntriesEach; ++i) {
                if (i % 2 == 0) {
                    DDS_PropertyQosPolicyHelper_remove_property(nullptr, "x"); // an error entry
                } else {
                    DDS_PropertyQosPolicy_get_default(nullptr); // a precondition, flag and hook
                }
            }
        });
    }
    for (std::thread &w : writers) {
        w.join();
    }
    done.store(true);
    setter.join();
    ZynLog_setSink(nullptr, nullptr);
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
    DDSLog_g_submoduleMask = 0xFFFFFFFFu;
    ZynLog_g_categoryMask[ZYN_LOG_LEVEL_ERROR] = 0xFFFFFFFFu;

    // Every entry reached exactly one sink, with that sink's own user data, none after its sink
    // was replaced; every precondition hit the hook.
    const CheckedSink &a = CheckedSink::pair[0], &b = CheckedSink::pair[1];
    EXPECT_EQ(a.calls.load() + b.calls.load(), long(kWriters) * kEntriesEach);
    EXPECT_EQ(a.foreignUserData.load() + b.foreignUserData.load(), 0);
    EXPECT_EQ(a.callsAfterRetirement.load() + b.callsAfterRetirement.load(), 0);
    EXPECT_EQ(stillRunning, 0) << "a replaced sink was still running after the setter returned";
    EXPECT_EQ(ZynLog_g_assertBreakpointCount - hitsBefore, unsigned(kWriters * kEntriesEach / 2));
    EXPECT_GT(swaps.load(), 1) << "the sink never changed while the writers ran";
}

} // namespace
