// Our property-list operations on the generated data. The peers' versions of the same
// operations, on the same data, are in PeerCyclone.cpp and PeerFastRtps.cpp; every benchmark is
// named "<operation>/<implementation>/<N>" so that bench/run.sh can pair them.
//
// Each benchmark checks its result once before timing (a lookup finds, an extraction selects
// one eighth, a validation passes), so a broken operation cannot produce a fast number.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchData.h"
#include <propqos/Log.h>
#include <propqos/PropertyQosPolicy.h>

using namespace propqos_bench;

namespace {

const std::vector<int> kSizes = {8, 64, 512};

struct Policy {
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    explicit Policy(const std::vector<Property> &properties)
    {
        for (const Property &p : properties) {
            DDS_PropertyQosPolicyHelper_add_property(&policy, p.name.c_str(), p.value.c_str(),
                                                     DDS_BOOLEAN_FALSE);
        }
    }
    ~Policy() { DDS_PropertyQosPolicy_finalize(&policy); }
    Policy(const Policy &) = delete;
    Policy &operator=(const Policy &) = delete;
    DDS_PropertyQosPolicy *get() { return &policy; }
    DDS_Long size() const { return DDS_PropertySeq_get_length(&policy.value); }
};

void lookupHit(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    Policy policy(properties);
    const auto order = lookupOrder(properties);
    for (const auto &name : order) {
        if (DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), name.c_str()) == nullptr) {
            state.SkipWithError("a present name was not found");
            return;
        }
    }
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), order[k].c_str()));
        if (++k == order.size()) k = 0;
    }
}

void lookupMiss(benchmark::State &state)
{
    Policy policy(makeProperties(int(state.range(0))));
    const auto absent = absentNames();
    for (const auto &name : absent) {
        if (DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), name.c_str()) != nullptr) {
            state.SkipWithError("an absent name was found");
            return;
        }
    }
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicyHelper_lookup_property(policy.get(), absent[k].c_str()));
        if (++k == absent.size()) k = 0;
    }
}

// Replacing the value of a present property (values alternate so every call really writes).
void assertReplace(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    Policy policy(properties);
    const auto order = lookupOrder(properties);
    const char *values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t k = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        DDS_ReturnCode_t rc = DDS_PropertyQosPolicyHelper_assert_property(
            policy.get(), order[k].c_str(), values[flip], DDS_BOOLEAN_FALSE);
        benchmark::DoNotOptimize(rc);
        if (++k == order.size()) {
            k = 0;
            flip ^= 1;
        }
    }
    if (policy.size() != DDS_Long(properties.size())) state.SkipWithError("assert of a present name appended");
}

// Appending an absent property, then removing it again so N stays fixed: the pair is timed.
void assertAppend(benchmark::State &state)
{
    Policy policy(makeProperties(int(state.range(0))));
    const auto absent = absentNames();
    const DDS_Long before = policy.size();
    size_t k = 0;
    for (auto _ : state) {
        DDS_PropertyQosPolicyHelper_assert_property(policy.get(), absent[k].c_str(), "enabled",
                                                    DDS_BOOLEAN_FALSE);
        DDS_PropertyQosPolicyHelper_remove_property(policy.get(), absent[k].c_str());
        if (++k == absent.size()) k = 0;
    }
    if (policy.size() != before) state.SkipWithError("append/remove changed the size");
}

// A deep copy into a fresh policy, released again: what taking a copy of a QoS costs.
void deepCopy(benchmark::State &state)
{
    Policy policy(makeProperties(int(state.range(0))));
    for (auto _ : state) {
        DDS_PropertyQosPolicy copy = DDS_PropertyQosPolicy_INITIALIZER;
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_copy(&copy, policy.get()));
        DDS_PropertyQosPolicy_finalize(&copy);
    }
}

void extractWithPrefix(benchmark::State &state)
{
    const int n = int(state.range(0));
    Policy policy(makeProperties(n));
    const std::string prefix = std::string(extractionPrefix()) + ".";
    {
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        DDS_PropertyQosPolicyHelper_get_properties(policy.get(), &out, prefix.c_str());
        const bool ok = DDS_PropertySeq_get_length(&out) == n / 8;
        DDS_PropertySeq_finalize(&out);
        if (!ok) {
            state.SkipWithError("extraction did not select one eighth");
            return;
        }
    }
    for (auto _ : state) {
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        benchmark::DoNotOptimize(DDS_PropertyQosPolicyHelper_get_properties(policy.get(), &out, prefix.c_str()));
        DDS_PropertySeq_finalize(&out);
    }
}

void extractWithoutPrefix(benchmark::State &state)
{
    const int n = int(state.range(0));
    Policy policy(makeProperties(n));
    const char *prefix = extractionPrefix();
    {
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        DDS_PropertyQosPolicyHelper_get_properties_without_prefix(policy.get(), &out, prefix, DDS_BOOLEAN_FALSE);
        // The selected properties and the closing "prefix" entry.
        const bool ok = DDS_PropertySeq_get_length(&out) == n / 8 + 1;
        DDS_PropertySeq_finalize(&out);
        if (!ok) {
            state.SkipWithError("extraction did not select one eighth");
            return;
        }
    }
    for (auto _ : state) {
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        benchmark::DoNotOptimize(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
            policy.get(), &out, prefix, DDS_BOOLEAN_FALSE));
        DDS_PropertySeq_finalize(&out);
    }
}

struct SilentLog {
    unsigned saved = DDSLog_g_instrumentationMask;
    SilentLog() { DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT; }
    ~SilentLog() { DDSLog_g_instrumentationMask = saved; }
};

void validateParticipant(benchmark::State &state)
{
    SilentLog silent;
    int distinct = 0;
    Policy policy(validParticipantProperties(int(state.range(0)), &distinct));
    if (!DDS_PropertyQosPolicy_validate_property_names_per_entity(
            policy.get(), DDS_PARTICIPANT_ENTITY_KIND, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION)) {
        state.SkipWithError("the generated participant policy does not validate");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_validate_property_names_per_entity(
            policy.get(), DDS_PARTICIPANT_ENTITY_KIND, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION));
    }
    state.counters["distinct_names"] = distinct;
}

// The reference for validation: a deep copy of the same participant policy.
void validateReferenceCopy(benchmark::State &state)
{
    Policy policy(validParticipantProperties(int(state.range(0))));
    for (auto _ : state) {
        DDS_PropertyQosPolicy copy = DDS_PropertyQosPolicy_INITIALIZER;
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_copy(&copy, policy.get()));
        DDS_PropertyQosPolicy_finalize(&copy);
    }
}

// Two policies of N properties that differ in the value of one (mutable) property.
void mutabilityCheck(benchmark::State &state)
{
    SilentLog silent;
    const auto properties = makeProperties(int(state.range(0)));
    Policy oldPolicy(properties);
    auto changed = properties;
    changed[changed.size() / 2].value += ".changed";
    Policy newPolicy(changed);
    if (!DDS_PropertyQosPolicy_isMutabilityConsistent(newPolicy.get(), oldPolicy.get(), 1)) {
        state.SkipWithError("the change was refused");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_isMutabilityConsistent(newPolicy.get(), oldPolicy.get(), 1));
    }
}

void saveToString(benchmark::State &state)
{
    Policy policy(makeProperties(int(state.range(0))));
    ZynXMLSaveContext measure = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_PropertyQosPolicy_save(policy.get(), nullptr, &measure);
    std::vector<char> buffer(measure.outputStringLength + 1);
    for (auto _ : state) {
        ZynXMLSaveContext context = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
        context.sout = buffer.data();
        context.ssize = DDS_UnsignedLong(buffer.size());
        DDS_PropertyQosPolicy_save(policy.get(), nullptr, &context);
        benchmark::DoNotOptimize(context.outputStringLength);
        if (context.error != 0) {
            state.SkipWithError("save failed");
            break;
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(measure.outputStringLength));
}

// ---- the batch scenario: kBatch policies or outputs alive at once ----

void deepCopyBatch(benchmark::State &state)
{
    Policy policy(makeProperties(int(state.range(0))));
    std::vector<DDS_PropertyQosPolicy> copies(kBatch, DDS_PropertyQosPolicy{DDS_SEQUENCE_INITIALIZER});
    for (auto _ : state) {
        for (auto &copy : copies) benchmark::DoNotOptimize(DDS_PropertyQosPolicy_copy(&copy, policy.get()));
        for (auto &copy : copies) DDS_PropertyQosPolicy_finalize(&copy);
    }
}

template <bool keepPrefix>
void extractBatch(benchmark::State &state)
{
    const int n = int(state.range(0));
    Policy policy(makeProperties(n));
    const std::string prefix = std::string(extractionPrefix()) + (keepPrefix ? "." : "");
    std::vector<DDS_PropertySeq> outs(kBatch, DDS_PropertySeq DDS_SEQUENCE_INITIALIZER);
    for (auto _ : state) {
        for (auto &out : outs) {
            benchmark::DoNotOptimize(
                keepPrefix ? DDS_PropertyQosPolicyHelper_get_properties(policy.get(), &out, prefix.c_str())
                           : DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                                 policy.get(), &out, prefix.c_str(), DDS_BOOLEAN_FALSE));
        }
        const bool ok = DDS_PropertySeq_get_length(&outs[0]) == n / 8 + (keepPrefix ? 0 : 1);
        for (auto &out : outs) DDS_PropertySeq_finalize(&out);
        if (!ok) {
            state.SkipWithError("extraction did not select one eighth");
            break;
        }
    }
}

// One assert on each of kBatch policies per timing.
void assertReplaceBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<std::unique_ptr<Policy>> policies;
    for (int k = 0; k < kBatch; ++k) policies.push_back(std::make_unique<Policy>(properties));
    const auto order = lookupOrder(properties);
    const char *values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t j = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        for (auto &policy : policies) {
            benchmark::DoNotOptimize(DDS_PropertyQosPolicyHelper_assert_property(
                policy->get(), order[j].c_str(), values[flip], DDS_BOOLEAN_FALSE));
        }
        if (++j == order.size()) {
            j = 0;
            flip ^= 1;
        }
    }
    if (policies[0]->size() != DDS_Long(properties.size())) state.SkipWithError("assert of a present name appended");
}

void assertAppendBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<std::unique_ptr<Policy>> policies;
    for (int k = 0; k < kBatch; ++k) policies.push_back(std::make_unique<Policy>(properties));
    const auto absent = absentNames();
    size_t j = 0;
    for (auto _ : state) {
        for (auto &policy : policies) {
            DDS_PropertyQosPolicyHelper_assert_property(policy->get(), absent[j].c_str(), "enabled",
                                                        DDS_BOOLEAN_FALSE);
            DDS_PropertyQosPolicyHelper_remove_property(policy->get(), absent[j].c_str());
        }
        if (++j == absent.size()) j = 0;
    }
    if (policies[0]->size() != DDS_Long(properties.size())) state.SkipWithError("append/remove changed the size");
}

template <typename Fn>
void registerSizes(const char *name, Fn fn, const std::vector<int> &sizes)
{
    auto *b = benchmark::RegisterBenchmark(name, fn);
    for (int n : sizes) b->Arg(n);
}

const int registered = [] {
    registerSizes("lookup_hit/ours", lookupHit, kSizes);
    registerSizes("lookup_miss/ours", lookupMiss, kSizes);
    registerSizes("assert_replace/ours", assertReplace, kSizes);
    registerSizes("assert_append/ours", assertAppend, kSizes);
    registerSizes("deep_copy/ours", deepCopy, kSizes);
    registerSizes("extract_with_prefix/ours", extractWithPrefix, kSizes);
    registerSizes("extract_without_prefix/ours", extractWithoutPrefix, kSizes);
    registerSizes("validate_participant/ours", validateParticipant, {16, 64, 256});
    registerSizes("validate_reference_copy/ours", validateReferenceCopy, {16, 64, 256});
    registerSizes("mutability_check/ours", mutabilityCheck, {512});
    registerSizes("deep_copy_batch/ours", deepCopyBatch, kSizes);
    registerSizes("extract_with_prefix_batch/ours", extractBatch<true>, kSizes);
    registerSizes("extract_without_prefix_batch/ours", extractBatch<false>, kSizes);
    registerSizes("assert_replace_batch/ours", assertReplaceBatch, kSizes);
    registerSizes("assert_append_batch/ours", assertAppendBatch, kSizes);
    registerSizes("save_to_string/ours", saveToString, {512});
    return 0;
}();

}  // namespace

BENCHMARK_MAIN();
