// Growth with the number of properties: each operation at N and at 10 N. An operation that is
// N log N at worst takes well under 15 times as long at 10 N; a quadratic one takes about 100
// times. bench/run.sh prints the ratio of each pair.
//
// Every benchmark checks its result once before timing, so a broken operation cannot be fast.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <propqos/PropertyQosPolicy.h>

namespace {

struct Policy {
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    Policy() = default;
    ~Policy() { DDS_PropertyQosPolicy_finalize(&policy); }
    Policy(const Policy &) = delete;
    Policy &operator=(const Policy &) = delete;
    void add(const std::string &name, const std::string &value)
    {
        if (DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), value.c_str(),
                                                     DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
            std::abort();
        }
    }
};

void require(bool condition, benchmark::State &state, const char *what)
{
    if (!condition) {
        state.SkipWithError(what);
    }
}

// N properties "app.sN" = "vN", none of them known to the middleware.
void fill(Policy &p, long n, const char *prefix = "app.s")
{
    for (long i = 0; i < n; ++i) {
        p.add(prefix + std::to_string(i), "v" + std::to_string(i));
    }
}

void mutabilityUnchanged(benchmark::State &state)
{
    Policy a;
    Policy b;
    fill(a, state.range(0));
    fill(b, state.range(0));
    require(DDS_PropertyQosPolicy_isMutabilityConsistent(&a.policy, &b.policy, 1) == 1, state,
            "consistent");
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_isMutabilityConsistent(&a.policy, &b.policy, 1));
    }
}

// All N properties are new: each is looked up in the mutability tables.
void mutabilityAllNew(benchmark::State &state)
{
    Policy a;
    Policy b;
    fill(a, state.range(0));
    require(DDS_PropertyQosPolicy_isMutabilityConsistent(&a.policy, &b.policy, 1) == 1, state,
            "consistent");
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_isMutabilityConsistent(&a.policy, &b.policy, 1));
    }
}

// A copy holds exactly its length: the output below is then never raised to the source's
// maximum up front, and every appended element raises the maximum by one.
void exactCopy(Policy &p, long n, const char *prefix)
{
    Policy grown;
    fill(grown, n, prefix);
    DDS_PropertySeq_copy(&p.policy.value, &grown.policy.value);
}

// N matches appended onto an output that is full (N elements, length == maximum).
void appendOntoFull(benchmark::State &state)
{
    const long n = state.range(0);
    Policy source;
    exactCopy(source, n, "app.s");
    for (auto _ : state) {
        state.PauseTiming();
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        DDS_PropertySeq_copy(&out, &source.policy.value);
        state.ResumeTiming();
        DDS_ReturnCode_t result = DDS_PropertyQosPolicyHelper_append_properties(&source.policy, &out, "app.");
        state.PauseTiming();
        require(result == DDS_RETCODE_OK && DDS_PropertySeq_get_length(&out) == 2 * n &&
                    DDS_PropertySeq_get_maximum(&out) == 2 * n,
                state, "appended");
        DDS_PropertySeq_finalize(&out);
        state.ResumeTiming();
    }
}

// The plug-in's own prefix lies under the security prefix: its N properties are taken once
// without the prefix and appended again with it, one element at a time.
void trustIntoEmpty(benchmark::State &state)
{
    const long n = state.range(0);
    Policy source;
    exactCopy(source, n, "dds.sec.auth.s");
    for (auto _ : state) {
        state.PauseTiming();
        DDS_PropertySeq out = DDS_SEQUENCE_INITIALIZER;
        state.ResumeTiming();
        DDS_ReturnCode_t result = DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(
            &source.policy, &out, "dds.sec.auth", nullptr);
        state.PauseTiming();
        require(result == DDS_RETCODE_OK && DDS_PropertySeq_get_length(&out) == 2 * n + 1,
                state, "trust properties");
        DDS_PropertySeq_finalize(&out);
        state.ResumeTiming();
    }
}

int validateParticipant(const Policy &p)
{
    return DDS_PropertyQosPolicy_validate_property_names_per_entity(
        &p.policy, DDS_PARTICIPANT_ENTITY_KIND, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
}

// N flow controllers of two settings each.
void validateFlowControllers(benchmark::State &state)
{
    Policy p;
    for (long i = 0; i < state.range(0); ++i) {
        const std::string controller = "dds.flow_controller.token_bucket.fc" + std::to_string(i);
        p.add(controller + ".bucket.period", "1");
        p.add(controller + ".bucket.max_tokens", "8");
    }
    require(validateParticipant(p) == 1, state, "valid");
    for (auto _ : state) {
        benchmark::DoNotOptimize(validateParticipant(p));
    }
}

// N loaded UDPv4 transport instances, each with its create function and one setting.
void validateLoadedPlugins(benchmark::State &state)
{
    Policy p;
    std::string list;
    for (long i = 0; i < state.range(0); ++i) {
        const std::string name = "dds.transport.UDPv4.t" + std::to_string(i);
        list += (i == 0 ? "" : ",") + name;
        p.add(name + ".library", "libudp.so");
        p.add(name + ".aliases", "udp" + std::to_string(i));
    }
    p.add("dds.transport.load_plugins", list);
    require(validateParticipant(p) == 1, state, "valid");
    for (auto _ : state) {
        benchmark::DoNotOptimize(validateParticipant(p));
    }
}

// One unknown name of N KiB under a participant prefix.
void validateLongUnknownName(benchmark::State &state)
{
    Policy p;
    p.add("dds.participant." + std::string(static_cast<size_t>(state.range(0)) * 1024, 'x'), "1");
    DDS_PropertyQosPolicyValidationAction warn = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING;
    for (auto _ : state) {
        benchmark::DoNotOptimize(DDS_PropertyQosPolicy_validate_property_names_per_entity(
            &p.policy, DDS_PARTICIPANT_ENTITY_KIND, warn));
    }
}

}  // namespace

BENCHMARK(mutabilityUnchanged)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(mutabilityAllNew)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(appendOntoFull)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(trustIntoEmpty)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(validateFlowControllers)->Arg(3000)->Arg(30000)->Unit(benchmark::kMillisecond);
BENCHMARK(validateLoadedPlugins)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(validateLongUnknownName)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    // The long name's suggestion is reported: keep the log quiet.
    std::freopen("/dev/null", "w", stderr);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
