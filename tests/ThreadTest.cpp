// The library used from many threads at once: logging while the sink and the masks change, and
// the C++ checks run side by side. Run under ThreadSanitizer as well (-DPROPQOS_SANITIZE=thread).
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <propqos/PropertyList.hpp>
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

// What a thread's checks found, flattened for comparison.
std::string describe(const propqos::PropertyList &list, const propqos::PropertyList &before)
{
    using namespace propqos;
    std::string out;
    for (ValidationAction action : {ValidationAction::Warning, ValidationAction::Exception}) {
        const ValidationReport r = list.validate(EntityKind::Participant, action);
        out += r.passed ? "passed;" : "refused;";
        for (const UnexpectedName &u : r.unexpected) {
            out += u.name + ">" + u.suggestion + "@" + u.checkedUnder +
                   (u.level == Severity::Warning ? "W;" : "E;");
        }
        out += std::to_string(r.other.size()) + ";";
    }
    const LimitReport limits = list.checkLimits(EntityKind::Participant, 3, 100000);
    for (const LimitViolation &v : limits.violations) {
        out += v.what + "=" + std::to_string(v.actual) + ">" + std::to_string(v.limit) + ";";
    }
    const ChangeCheck change = list.checkChangeFrom(before, true);
    out += change.property + ":" + change.reason;
    return out;
}

int g_appSinkCalls = 0; // written only if the checks wrongly log; read after the threads end
void appSink(const ZynLogEntry *, void *) { ++g_appSinkCalls; }

TEST(ThreadedChecks, EightThreadsValidateTheirOwnListsExactly)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 150; // two validations a round: 300 a thread
    int appData = 0;
    ZynLog_setSink(&appSink, &appData);
    const long outstanding = ZynHeap_getOutstanding();
    const unsigned int masks = DDSLog_g_instrumentationMask;

    // Each thread's list has its own unknown names, under the participant's prefixes and a
    // loaded plug-in's, and a change its entity refuses.
    std::vector<propqos::PropertyList> lists, before;
    std::vector<std::string> expected;
    for (int t = 0; t < kThreads; ++t) {
        const std::string n = std::to_string(t);
        lists.push_back(propqos::PropertyList{
            {"dds.participant.inde" + n, "1"},
            {"dds.transport.load_plugins", "dds.transport.TCPv4.tcp" + n},
            {"dds.transport.TCPv4.tcp" + n + ".library", "nddstransporttcp"},
            {"dds.transport.TCPv4.tcp" + n + ".server_bind_prt", n},
            {"dds.transport.UDPv4.builtin.parent.message_size_max" + n, "9000"},
            {"dds.participant.index", n}});
        before.push_back(propqos::PropertyList{{"dds.participant.index", "99"}});
        expected.push_back(describe(lists.back(), before.back()));
    }
    ASSERT_NE(expected[0].find("dds.participant.inde0>dds.participant.index@dds.participant.W;"),
              std::string::npos)
        << expected[0];
    ASSERT_NE(expected[1].find("tcp1.server_bind_prt>dds.transport.TCPv4.tcp1.server.bind_port@"
                               "dds.transport.W;"),
              std::string::npos)
        << expected[1];
    ASSERT_NE(expected[1].find("dds.transport.load_plugins:cannot modify because entity is already "
                               "enabled"),
              std::string::npos)
        << expected[1];

    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                wrong[t] += describe(lists[t], before[t]) != expected[t] ? 1 : 0;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(wrong[t], 0) << "thread " << t << " got wrong reports";
    }
    // The application's sink was neither called nor replaced, the masks not touched.
    ZynLogSinkFn sink = nullptr;
    void *userData = nullptr;
    ZynLog_getSink(&sink, &userData);
    EXPECT_EQ(g_appSinkCalls, 0);
    EXPECT_TRUE(sink == &appSink && userData == &appData);
    EXPECT_EQ(DDSLog_g_instrumentationMask, masks);
    ZynLog_setSink(nullptr, nullptr);
    // Every allocation of every thread was released, and counted exactly.
    lists.clear();
    before.clear();
    EXPECT_EQ(ZynHeap_getOutstanding(), outstanding);
}

} // namespace
