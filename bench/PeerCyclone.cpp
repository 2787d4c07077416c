// Eclipse Cyclone DDS's property QoS, on the same data as ours: dds_qget_prop for lookups
// (it returns a copy of the value, which the caller frees: part of the cost of a lookup there),
// dds_qset_prop for assert (replace or append), dds_copy_qos for the deep copy. It has no
// extraction by prefix.
#if defined(PROPQOS_BENCH_CYCLONE)

#include <benchmark/benchmark.h>

#include <dds/dds.h>

#include <memory>
#include <string>
#include <vector>

#include "bench/BenchData.h"

using namespace propqos_bench;

namespace {

struct Qos {
    dds_qos_t *qos = dds_create_qos();
    explicit Qos(const std::vector<Property> &properties)
    {
        for (const Property &p : properties) dds_qset_prop(qos, p.name.c_str(), p.value.c_str());
    }
    ~Qos() { dds_delete_qos(qos); }
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;
    size_t size() const
    {
        uint32_t n = 0;
        char **names = nullptr;
        dds_qget_propnames(qos, &n, &names);
        for (uint32_t i = 0; i < n; ++i) dds_free(names[i]);
        dds_free(names);
        return n;
    }
};

void lookupHit(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    Qos qos(properties);
    const auto order = lookupOrder(properties);
    size_t k = 0;
    for (auto _ : state) {
        char *value = nullptr;
        const bool found = dds_qget_prop(qos.qos, order[k].c_str(), &value);
        benchmark::DoNotOptimize(found);
        dds_free(value);
        if (!found) {
            state.SkipWithError("a present name was not found");
            break;
        }
        if (++k == order.size()) k = 0;
    }
}

void lookupMiss(benchmark::State &state)
{
    Qos qos(makeProperties(int(state.range(0))));
    const auto absent = absentNames();
    size_t k = 0;
    for (auto _ : state) {
        char *value = nullptr;
        const bool found = dds_qget_prop(qos.qos, absent[k].c_str(), &value);
        benchmark::DoNotOptimize(found);
        if (found) {
            dds_free(value);
            state.SkipWithError("an absent name was found");
            break;
        }
        if (++k == absent.size()) k = 0;
    }
}

void assertReplace(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    Qos qos(properties);
    const auto order = lookupOrder(properties);
    const char *values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t k = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        dds_qset_prop(qos.qos, order[k].c_str(), values[flip]);
        if (++k == order.size()) {
            k = 0;
            flip ^= 1;
        }
    }
    if (qos.size() != properties.size()) state.SkipWithError("assert of a present name appended");
}

void assertAppend(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    Qos qos(properties);
    const auto absent = absentNames();
    size_t k = 0;
    for (auto _ : state) {
        dds_qset_prop(qos.qos, absent[k].c_str(), "enabled");
        dds_qunset_prop(qos.qos, absent[k].c_str());
        if (++k == absent.size()) k = 0;
    }
    if (qos.size() != properties.size()) state.SkipWithError("append/remove changed the size");
}

void deepCopy(benchmark::State &state)
{
    Qos qos(makeProperties(int(state.range(0))));
    dds_qos_t *copy = dds_create_qos();
    for (auto _ : state) {
        benchmark::DoNotOptimize(dds_copy_qos(copy, qos.qos));
        dds_reset_qos(copy);   // releases what the copy holds
    }
    dds_delete_qos(copy);
}

// ---- the batch scenario: kBatch policies alive at once ----

void deepCopyBatch(benchmark::State &state)
{
    Qos qos(makeProperties(int(state.range(0))));
    std::vector<dds_qos_t *> copies(kBatch);
    for (auto &copy : copies) copy = dds_create_qos();
    for (auto _ : state) {
        for (auto *copy : copies) benchmark::DoNotOptimize(dds_copy_qos(copy, qos.qos));
        for (auto *copy : copies) dds_reset_qos(copy);
    }
    for (auto *copy : copies) dds_delete_qos(copy);
}

void assertReplaceBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<std::unique_ptr<Qos>> policies;
    for (int k = 0; k < kBatch; ++k) policies.push_back(std::make_unique<Qos>(properties));
    const auto order = lookupOrder(properties);
    const char *values[2] = {"65536", "tcp://10.10.1.17:7400"};
    size_t j = 0;
    unsigned flip = 0;
    for (auto _ : state) {
        for (auto &qos : policies) dds_qset_prop(qos->qos, order[j].c_str(), values[flip]);
        if (++j == order.size()) {
            j = 0;
            flip ^= 1;
        }
    }
    if (policies[0]->size() != properties.size()) state.SkipWithError("assert of a present name appended");
}

void assertAppendBatch(benchmark::State &state)
{
    const auto properties = makeProperties(int(state.range(0)));
    std::vector<std::unique_ptr<Qos>> policies;
    for (int k = 0; k < kBatch; ++k) policies.push_back(std::make_unique<Qos>(properties));
    const auto absent = absentNames();
    size_t j = 0;
    for (auto _ : state) {
        for (auto &qos : policies) {
            dds_qset_prop(qos->qos, absent[j].c_str(), "enabled");
            dds_qunset_prop(qos->qos, absent[j].c_str());
        }
        if (++j == absent.size()) j = 0;
    }
    if (policies[0]->size() != properties.size()) state.SkipWithError("append/remove changed the size");
}

template <typename Fn>
void registerSizes(const char *name, Fn fn)
{
    benchmark::RegisterBenchmark(name, fn)->Arg(8)->Arg(64)->Arg(512);
}

const int registered = [] {
    registerSizes("lookup_hit/cyclone", lookupHit);
    registerSizes("lookup_miss/cyclone", lookupMiss);
    registerSizes("assert_replace/cyclone", assertReplace);
    registerSizes("assert_append/cyclone", assertAppend);
    registerSizes("deep_copy/cyclone", deepCopy);
    registerSizes("deep_copy_batch/cyclone", deepCopyBatch);
    registerSizes("assert_replace_batch/cyclone", assertReplaceBatch);
    registerSizes("assert_append_batch/cyclone", assertAppendBatch);
    return 0;
}();

}  // namespace

#endif
