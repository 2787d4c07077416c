// eProsima Fast RTPS's property policy, on the same data as ours: PropertyPolicyHelper::
// find_property for lookups, the PropertyPolicy copy for the deep copy, and
// PropertyPolicyHelper::get_properties_with_prefix for extraction without the prefix. It has
// no assert and no extraction that keeps names whole: those two are written here with its
// public API the way a user would (marked "composed" in the table).
#if defined(PROPQOS_BENCH_FASTRTPS)

#include <benchmark/benchmark.h>

#include <fastdds/rtps/attributes/PropertyPolicy.h>

#include <string>
#include <vector>

#include "bench/BenchData.h"

using namespace propqos_bench;
using eprosima::fastrtps::rtps::PropertyPolicy;
using eprosima::fastrtps::rtps::PropertyPolicyHelper;

namespace {

PropertyPolicy makePolicy(const std::vector<Property> &properties)
{
    PropertyPolicy policy;
    for (const Property &p : properties) policy.properties().emplace_back(p.name, p.value);
    return policy;
}

void lookupHit(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    const PropertyPolicy policy = makePolicy(properties);
    const auto order = lookupOrder(properties);
    size_t k = 0;
    for (auto _ : state) {
        const std::string *value = PropertyPolicyHelper::find_property(policy, order[k]);
        benchmark::DoNotOptimize(value);
        if (value == nullptr) {
            state.SkipWithError("a present name was not found");
            break;
        }
        if (++k == order.size()) k = 0;
    }
}

void lookupMiss(benchmark::State &state)
{
    const PropertyPolicy policy = makePolicy(makeProperties(int(state.range(0))));
    const auto absent = absentNames();
    size_t k = 0;
    for (auto _ : state) {
        const std::string *value = PropertyPolicyHelper::find_property(policy, absent[k]);
        benchmark::DoNotOptimize(value);
        if (value != nullptr) {
            state.SkipWithError("an absent name was found");
            break;
        }
        if (++k == absent.size()) k = 0;
    }
}

// Assert written with the public API: find, then assign or append.
void assertProperty(PropertyPolicy &policy, const std::string &name, const std::string &value)
{
    std::string *found = PropertyPolicyHelper::find_property(policy, name);
    if (found != nullptr) {
        *found = value;
    } else {
        policy.properties().emplace_back(name, value);
    }
}

void assertReplace(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    PropertyPolicy policy = makePolicy(properties);
    const auto order = lookupOrder(properties);
    const std::string values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t k = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        assertProperty(policy, order[k], values[flip]);
        if (++k == order.size()) {
            k = 0;
            flip ^= 1;
        }
    }
    if (policy.properties().size() != properties.size()) state.SkipWithError("assert of a present name appended");
}

void assertAppend(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    PropertyPolicy policy = makePolicy(properties);
    const auto absent = absentNames();
    const std::string value = "enabled";
    size_t k = 0;
    for (auto _ : state) {
        assertProperty(policy, absent[k], value);
        auto &seq = policy.properties();
        for (auto it = seq.begin(); it != seq.end(); ++it) {
            if (it->name() == absent[k]) {
                seq.erase(it);
                break;
            }
        }
        if (++k == absent.size()) k = 0;
    }
    if (policy.properties().size() != properties.size()) state.SkipWithError("append/remove changed the size");
}

void deepCopy(benchmark::State &state)
{
    const PropertyPolicy policy = makePolicy(makeProperties(int(state.range(0))));
    for (auto _ : state) {
        PropertyPolicy copy(policy);
        benchmark::DoNotOptimize(copy);
    }
}

// Names kept whole: the selection written with the public API.
void extractWithPrefix(benchmark::State &state)
{
    const int n = int(state.range(0));
    const PropertyPolicy policy = makePolicy(makeProperties(n));
    const std::string prefix = std::string(extractionPrefix()) + ".";
    auto extract = [&] {
        PropertyPolicy out;
        for (const auto &p : policy.properties()) {
            if (p.name().compare(0, prefix.size(), prefix) == 0) out.properties().push_back(p);
        }
        return out;
    };
    if (int(extract().properties().size()) != n / 8) {
        state.SkipWithError("extraction did not select one eighth");
        return;
    }
    for (auto _ : state) {
        PropertyPolicy out = extract();
        benchmark::DoNotOptimize(out);
    }
}

void extractWithoutPrefix(benchmark::State &state)
{
    const int n = int(state.range(0));
    const PropertyPolicy policy = makePolicy(makeProperties(n));
    // Its prefix is removed exactly as given: with the '.', names come out as ours do.
    const std::string prefix = std::string(extractionPrefix()) + ".";
    if (int(PropertyPolicyHelper::get_properties_with_prefix(policy, prefix).properties().size()) != n / 8) {
        state.SkipWithError("extraction did not select one eighth");
        return;
    }
    for (auto _ : state) {
        PropertyPolicy out = PropertyPolicyHelper::get_properties_with_prefix(policy, prefix);
        benchmark::DoNotOptimize(out);
    }
}

// ---- the batch scenario: kBatch policies or outputs alive at once ----

void deepCopyBatch(benchmark::State &state)
{
    const PropertyPolicy policy = makePolicy(makeProperties(int(state.range(0))));
    std::vector<PropertyPolicy> copies;
    copies.reserve(kBatch);
    for (auto _ : state) {
        for (int k = 0; k < kBatch; ++k) copies.emplace_back(policy);
        benchmark::DoNotOptimize(copies.data());
        copies.clear();
    }
}

// Names kept whole (composed with the public API, as in the single scenario) or without the
// prefix (its own helper).
template <bool keepPrefix>
void extractBatch(benchmark::State &state)
{
    const int n = int(state.range(0));
    const PropertyPolicy policy = makePolicy(makeProperties(n));
    const std::string prefix = std::string(extractionPrefix()) + ".";
    auto extract = [&] {
        if (!keepPrefix) return PropertyPolicyHelper::get_properties_with_prefix(policy, prefix);
        PropertyPolicy out;
        for (const auto &p : policy.properties()) {
            if (p.name().compare(0, prefix.size(), prefix) == 0) out.properties().push_back(p);
        }
        return out;
    };
    std::vector<PropertyPolicy> outs;
    outs.reserve(kBatch);
    for (auto _ : state) {
        for (int k = 0; k < kBatch; ++k) outs.push_back(extract());
        const bool ok = int(outs[0].properties().size()) == n / 8;
        outs.clear();
        if (!ok) {
            state.SkipWithError("extraction did not select one eighth");
            break;
        }
    }
}

void assertReplaceBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<PropertyPolicy> policies(kBatch, makePolicy(properties));
    const auto order = lookupOrder(properties);
    const std::string values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t j = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        for (auto &policy : policies) assertProperty(policy, order[j], values[flip]);
        if (++j == order.size()) {
            j = 0;
            flip ^= 1;
        }
    }
    if (policies[0].properties().size() != properties.size()) state.SkipWithError("assert of a present name appended");
}

void assertAppendBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<PropertyPolicy> policies(kBatch, makePolicy(properties));
    const auto absent = absentNames();
    const std::string value = "enabled";
    size_t j = 0;
    for (auto _ : state) {
        for (auto &policy : policies) {
            assertProperty(policy, absent[j], value);
            auto &seq = policy.properties();
            for (auto it = seq.begin(); it != seq.end(); ++it) {
                if (it->name() == absent[j]) {
                    seq.erase(it);
                    break;
                }
            }
        }
        if (++j == absent.size()) j = 0;
    }
    if (policies[0].properties().size() != properties.size()) state.SkipWithError("append/remove changed the size");
}

template <typename Fn>
void registerSizes(const char *name, Fn fn)
{
    benchmark::RegisterBenchmark(name, fn)->Arg(8)->Arg(64)->Arg(512);
}

const int registered = [] {
    registerSizes("lookup_hit/fastrtps", lookupHit);
    registerSizes("lookup_miss/fastrtps", lookupMiss);
    registerSizes("assert_replace/fastrtps", assertReplace);
    registerSizes("assert_append/fastrtps", assertAppend);
    registerSizes("deep_copy/fastrtps", deepCopy);
    registerSizes("extract_with_prefix/fastrtps", extractWithPrefix);
    registerSizes("extract_without_prefix/fastrtps", extractWithoutPrefix);
    registerSizes("deep_copy_batch/fastrtps", deepCopyBatch);
    registerSizes("extract_with_prefix_batch/fastrtps", extractBatch<true>);
    registerSizes("extract_without_prefix_batch/fastrtps", extractBatch<false>);
    registerSizes("assert_replace_batch/fastrtps", assertReplaceBatch);
    registerSizes("assert_append_batch/fastrtps", assertAppendBatch);
    return 0;
}();

}  // namespace

#endif
