// Every operation that allocates, run on realistic inputs with allocation k refused (and every
// later one), for k = 0, 1, 2 ... until a run in which nothing was refused. At every k: nothing of
// the module's heap left once the inputs are released, the failure result whenever an allocation
// was refused, and, over the whole sweep, exactly the entries listed for the operation (level,
// identifier, arguments). The run with nothing refused gives the plain answer and no entry.
// Results are text: the return code, and for some rows the state the operation left behind.
#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

using Props = std::vector<std::pair<const char *, const char *>>;

// A participant as an application configures one: loaded transports (one unknown), a relay with
// a sub-transport, built-in transport and flow-controller settings, security, its own settings.
const Props kParticipant = {
    {"dds.transport.load_plugins", "dds.transport.TCPv4.tcp1, dds.transport.relay.r1, com.acme.custom"},
    {"dds.transport.TCPv4.tcp1.library", "libzyntcp.so"},
    {"dds.transport.TCPv4.tcp1.create_function", "ZynTransportTcpv4_create"},
    {"dds.transport.TCPv4.tcp1.server.bind_port", "7400"},
    {"dds.transport.relay.r1.create_function", "ZynTransportRelay_create"},
    {"dds.transport.relay.r1.subtransport", "TCPv4"},
    {"com.acme.custom.create_function", "AcmeTransport_create"},
    {"dds.transport.UDPv4.builtin.socket.send_buffer_size", "65536"},
    {"dds.flow_controller.token_bucket.fc1.bucket.period", "10ms"},
    {"dds.flow_controller.token_bucket.fc2.scheduling", "EDF"},
    {"dds.sec.auth.identity_ca", "file:/etc/dds/ca.pem"},
    {"dds.sec.auth.private_key", "file:/etc/dds/key.pem"},
    {"dds.transport.minimum_compatibility_version", "6.1.0"},
    {"dds.participant.index", "3"},
};
const Props kWriter = {
    {"dds.data_writer.history.plugin_name", "dds.data_writer.history.durable"},
    {"dds.data_writer.history.durable.storage.directory", "/var/lib/app/history"},
    {"dds.data_writer.heartbeat.period", "100ms"},
};
// A plug-in name past the 1024 characters composed on the stack: composed names go to the heap.
const std::string kLong = "dds.transport.TCPv4." + std::string(1100, 'w');

// Fresh inputs for one run, released on every path.
struct Env {
    ScopedPolicy p, w, lng, out;
    ScopedSeq seq;
    DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq names = DDS_SEQUENCE_INITIALIZER;
    char **open = nullptr, **secret = nullptr;
    int openSize = 1, secretSize = 1;
    char buffer[255] = "";
    TaviPropertyQosPolicy form{};
    Env()
    {
        for (const auto &[n, v] : kParticipant)
            DDS_PropertyQosPolicyHelper_add_property(p.get(), n, v, DDS_BOOLEAN_FALSE);
        for (const auto &[n, v] : kWriter)
            DDS_PropertyQosPolicyHelper_add_property(w.get(), n, v, DDS_BOOLEAN_FALSE);
        DDS_PropertyQosPolicyHelper_add_property(lng.get(), (kLong + ".create_function").c_str(),
                                                 "ZynTransportTcpv4_create", DDS_BOOLEAN_FALSE);
        DDS_PropertyQosPolicyHelper_add_property(lng.get(), "dds.data_writer.history.plugin_name",
                                                 kLong.c_str(), DDS_BOOLEAN_FALSE);
    }
    ~Env()
    {
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&names);
        for (auto [array, size] : {std::pair{open, openSize}, std::pair{secret, secretSize}}) {
            for (int i = 0; array != nullptr && i < size; ++i)
                DDS_String_free(array[i]);
            ZynOsapiHeap_freeArray(array);
        }
        DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
    }
    std::string tags() const
    {
        std::string t;
        for (DDS_Long i = 0; i < DDS_TagSeq_get_length(&map); ++i)
            t += std::string(DDS_TagSeq_get_reference(&map, i)->name) + "=" +
                 DDS_TagSeq_get_reference(&map, i)->value + ";";
        return t;
    }
};

std::string text(long n) { return std::to_string(n); }
std::string text(long n, const std::string &state) { return std::to_string(n) + " " + state; }

struct Row {
    const char *operation;
    std::function<std::string(Env &)> prepare;  // optional, outside the failure window
    std::function<std::string(Env &)> call;
    std::string ok;                     // the answer with nothing refused
    std::optional<std::string> failed;  // the answer whenever something was refused (none: any)
    std::set<std::string> entries;      // "level identifier arg|arg" over the whole sweep
    bool exact = true;                  // false: at least these (a composite's own entries)
};

const std::string kOut = "2 DDS_LOG_OUT_OF_RESOURCES_s ";
const std::string kMaximum = "2 DDS_LOG_SET_FAILURE_s maximum", kCopy = "2 ZYN_LOG_ANY_FAILURE_s copy";

// An operation's answer: its result, then (optionally) the state it left, taken after the call.
#define CALL(call) [](Env &e) { return text(static_cast<long>(call)); }
#define CALL_THEN(call, state) [](Env &e) { const long r = static_cast<long>(call); return text(r, state); }
#define SETUP(step) [](Env &e) { return text(static_cast<long>(step)); }

std::vector<Row> rows()
{
    return {
        {"add_property", {},
         CALL_THEN(DDS_PropertyQosPolicyHelper_add_property(e.p.get(), "dds.participant.domain_tag", "b", 1), text(e.p.size())),
         "0 15", "5 14", {"2 ZYN_LOG_ANY_FAILURE_ss Add property: |dds.participant.domain_tag"}},
        {"assert_property (replace)", {},
         CALL_THEN(DDS_PropertyQosPolicyHelper_assert_property(e.p.get(), "dds.participant.index", "12345", 0),
                   DDS_PropertyQosPolicyHelper_lookup_property(e.p.get(), "dds.participant.index")->value),
         "0 12345", "5 3", {"2 ZYN_LOG_ADD_FAILURE_s element"}},
        {"assertPropertyWithPrefix", {},
         CALL_THEN(DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(e.p.get(), kLong.c_str(), "multicast.ttl", "4", 0), text(e.p.size())),
         "0 15", std::nullopt, {"2 ZYN_LOG_ADD_FAILURE_s element", "2 ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE auxilary property name"}},
        {"lookup_property_with_prefix", {},
         CALL(DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(e.lng.get(), kLong.c_str(), "create_function") != nullptr),
         "1", "0", {kOut + "property name"}},
        {"copy", SETUP(DDS_PropertyQosPolicyHelper_add_property(e.out.get(), "stale", "v", 0)),
         CALL_THEN(DDS_PropertyQosPolicy_copy(e.out.get(), e.p.get()) != nullptr, text(e.out.size())),
         "1 14", "0 1", {"4 ZYN_LOG_ANY_FAILURE_s copy policy"}},
        {"from_presentation_qos_policy",
         SETUP(DDS_PropertyQosPolicy_setup_presentation_policyI(&e.form, 32, 4096) +
               DDS_PropertyQosPolicy_to_presentation_qos_policy(e.p.get(), &e.form)),
         CALL_THEN(DDS_PropertyQosPolicy_from_presentation_qos_policy(e.out.get(), &e.form), text(e.out.size())),
         "0 14", "5 0", {}},
        {"add_integer_property", {},
         CALL_THEN(DDS_PropertyQosPolicyHelper_add_integer_property(e.out.get(), "dds.participant.index", -17), describe(e.out.policy)),
         "0 dds.participant.index=-17;", "5 ", {"2 ZYN_LOG_ANY_FAILURE_ss Add property: |dds.participant.index"}},
        {"get_properties", {},
         CALL(DDS_PropertyQosPolicyHelper_get_properties(e.p.get(), e.seq.get(), "dds.transport.TCPv4.")),
         "0", "1", {kMaximum, kCopy}},
        {"get_properties_without_prefix", {},
         CALL_THEN(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(e.p.get(), e.seq.get(), "dds.flow_controller.token_bucket.fc1", 1), text(e.seq.size())),
         "0 2", std::nullopt, {kMaximum, kCopy, "4 ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE Prefix property", "4 ZYN_LOG_FAILED_TO_ADD_TEMPLATE Name of the prefix property"}},
        {"getTrustPluginsProperties", {},
         [](Env &e) { VorlActivityContext context{0xffffffffu}; VorlWorker worker{"sweep", &context};
                      const long r = DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(e.p.get(), e.seq.get(), "dds.sec.auth", &worker);
                      return text(r, text(e.seq.size())); },
         "0 5", std::nullopt, {"2 ZYN_LOG_FAILED_TO_ADD_TEMPLATE \"dds.sec.\" prefix to the security properties.\n", "2 ZYN_LOG_FAILED_TO_GET_TEMPLATE Properties without prefix dds.sec.auth for security plugin."}, false},
        {"get_properties_into_policy", SETUP(DDS_PropertyQosPolicyHelper_add_property(e.out.get(), "old", "1", 0)),
         CALL(DDS_PropertyQosPolicyHelper_get_properties_into_policy(e.p.get(), e.out.get(), "dds.transport.TCPv4.tcp1")),
         "0", "1", {"2 ZYN_LOG_FAILED_TO_GET_TEMPLATE properties for the suffix dds.transport.TCPv4.tcp1.\n", "2 ZYN_LOG_FAILED_TO_COPY_TEMPLATE Property name 'library' with the suffix 'dds.transport.TCPv4.tcp1'.\n", "2 ZYN_LOG_FAILED_TO_COPY_TEMPLATE Property value '7400' with the suffix 'dds.transport.TCPv4.tcp1'.\n"}, false},
        {"getPluginCreateFunction (long name)", {},
         CALL_THEN(DDS_PropertyQosPolicy_getPluginCreateFunction(e.buffer, e.lng.get(), kLong.c_str()), e.buffer),
         "1 ZynTransportTcpv4_create", "0 ", {kOut + "propertyNamePtr"}},
        {"populateWriterHistoryPrefixes (long name)", {},
         CALL_THEN(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&e.map, e.lng.get()), text(DDS_TagSeq_get_length(&e.map))),
         "1 1", "0 0", {kOut + "pluginNamePtr", "2 ZYN_LOG_ADD_FAILURE_s " + kLong}},
        {"populateTransportPluginPrefixes", {},
         CALL_THEN(DDS_PropertyQosPolicy_populateTransportPluginPrefixes(&e.map, &e.names, e.p.get(), "com.acme.custom", "com.acme.custom"), text(DDS_StringSeq_get_length(&e.names))),
         "1 1", std::nullopt, {kOut + "omittedPrefix", kOut + "omittedPrefixes"}},
        {"populatePluginPrefixesPerLoadedPlugin", {},
         CALL_THEN(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&e.map, &e.names, e.p.get()), e.tags()),
         "1 dds.transport.TCPv4.tcp1=TCPV4;dds.transport.relay.r1=RELAY;", std::nullopt, {kOut + "omittedPrefix", kOut + "omittedPrefixes", "2 ZYN_LOG_ADD_FAILURE_s Plugin Name", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.TCPv4.tcp1", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.relay.r1", "2 ZYN_LOG_GET_FAILURE_ss plugins names from |" + std::string(kParticipant[0].second)}},
        {"populatePluginPrefixesPerSubtransport",
         SETUP(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&e.map, &e.names, e.p.get())),
         CALL_THEN(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&e.map, &e.names, e.p.get()), e.tags()),
         "1 dds.transport.TCPv4.tcp1=TCPV4;dds.transport.relay.r1=RELAY;dds.transport.relay.r1.TCPv4=TCPV4;", std::nullopt, {"2 ZYN_LOG_ADD_FAILURE_s Plugin Name", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.relay.r1.TCPv4"}},
        {"populateBuiltinTransportPluginPrefixes", {},
         CALL(DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&e.map)),
         "1", "0", {"2 ZYN_LOG_ADD_FAILURE_s dds.transport.UDPv4.builtin", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.UDPv4_WAN.builtin", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.UDPv6.builtin", "2 ZYN_LOG_ADD_FAILURE_s dds.transport.shmem.builtin"}},
        {"populateFlowControllerPrefixes", {},
         CALL_THEN(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&e.map, e.p.get()), e.tags()),
         "1 dds.flow_controller.token_bucket.fc1=FLOW_CONTROLLER;dds.flow_controller.token_bucket.fc2=FLOW_CONTROLLER;", std::nullopt, {kMaximum, kCopy, "2 DDS_LOG_SET_FAILURE_s maximum prefixMap", "2 ZYN_LOG_ADD_FAILURE_s dds.flow_controller.token_bucket.fc1", "2 ZYN_LOG_ADD_FAILURE_s dds.flow_controller.token_bucket.fc2", "2 ZYN_LOG_GET_FAILURE_ss dds.flow_controller.token_bucket.|properties from property qos"}},
        {"populatePluginProperties (participant)", {},
         CALL(DDS_PropertyQosPolicy_populatePluginProperties(&e.open, &e.secret, &e.openSize, &e.secretSize, &e.names, e.p.get(), DDS_PARTICIPANT_ENTITY_KIND)),
         "1", "0", {kOut + "validPublicProperties", kOut + "validPrivateProperties", "2 ZYN_LOG_ADD_FAILURE_s Builtin plugin properties", "2 ZYN_LOG_ADD_FAILURE_s Empty string at the end of arrays", "2 ZYN_LOG_ADD_FAILURE_s Flow Controller properties", "2 ZYN_LOG_ADD_FAILURE_s Plugin Names per load_plugin", "2 ZYN_LOG_ADD_FAILURE_s Plugin Names per subtransport", "2 ZYN_LOG_ADD_FAILURE_s plugin properties", "2 ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd 153|8"}, false},
        {"validate_property_names_per_entity (participant)", {},
         CALL(DDS_PropertyQosPolicy_validate_property_names_per_entity(e.p.get(), DDS_PARTICIPANT_ENTITY_KIND, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION)),
         "1", "0", {"2 ZYN_LOG_GET_FAILURE_s plugin properties", "2 ZYN_LOG_GET_FAILURE_ss dds.participant.|properties from property qos"}, false},
        {"add_property_validation_action", {},
         CALL_THEN(DDS_PropertyQosPolicy_add_property_validation_action(e.p.get(), DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING), text(e.p.size())),
         "1 15", "0 14", {"2 ZYN_LOG_ADD_FAILURE_s property_validation_action", "2 ZYN_LOG_ANY_FAILURE_ss Add property: |property_validation_action"}},
        {"get_property_mutability (by create function)",
         SETUP(DDS_PropertyQosPolicyHelper_add_property(e.lng.get(), "dds.transport.load_plugins", ("a," + kLong).c_str(), 0) +
               DDS_PropertyQosPolicyHelper_assert_property(e.lng.get(), (kLong + ".create_function").c_str(), "ZynTransportShmem_create", 0)),
         CALL(DDS_PropertyQosPolicyHelper_get_property_mutability((kLong + ".segment.size").c_str(), e.lng.get())),
         "2", "0", {kOut + "propertyNamePtr", "2 ZYN_LOG_GET_FAILURE_ss create_function property for plugin |" + kLong, "2 ZYN_LOG_GET_FAILURE_ss plugins names from property qos with value |a," + kLong}},
        {"lookupBooleanPropertyWithPrefix (long prefix)", SETUP(DDS_PropertyQosPolicyHelper_add_property(e.out.get(), (kLong + ".b").c_str(), "yes", 0)),
         [](Env &e) { DDS_Boolean v = 0; const long r = DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(e.out.get(), &v, kLong.c_str(), "b", 0);
                      return text(r, text(v)); },
         "0 1", "11 0", {kOut + "property name"}},
        {"setup_presentation_policyI", {}, CALL(DDS_PropertyQosPolicy_setup_presentation_policyI(&e.form, 32, 4096)),
         "0", "5", {}},
        {"append_properties", SETUP(DDS_PropertySeq_add_element(e.seq.get(), nullptr, "first", "1")),
         CALL(DDS_PropertyQosPolicyHelper_append_properties(e.p.get(), e.seq.get(), "dds.sec.")),
         "0", "1", {kMaximum, kCopy}},
        {"isMutabilityConsistent (enabled)",
         SETUP(DDS_PropertyQosPolicy_copy(e.out.get(), e.p.get()) != nullptr &&
               DDS_PropertyQosPolicyHelper_assert_property(e.out.get(), "dds.transport.TCPv4.tcp1.server.bind_port", "7410", 0) == 0),
         CALL(DDS_PropertyQosPolicy_isMutabilityConsistent(e.out.get(), e.p.get(), 1)), "1", std::nullopt,
         {"2 ZYN_LOG_GET_FAILURE_ss plugins names from property qos with value |" + std::string(kParticipant[0].second)}},
        {"DDS_PropertySeq_set_maximum", SETUP(DDS_PropertySeq_copy(e.seq.get(), &e.p.policy.value) != nullptr),
         CALL_THEN(DDS_PropertySeq_set_maximum(e.seq.get(), 50), text(DDS_PropertySeq_get_maximum(e.seq.get()))),
         "1 50", "0 14", {}},
        {"DDS_PropertySeq_assert_element", SETUP(DDS_PropertySeq_copy(e.seq.get(), &e.p.policy.value) != nullptr),
         CALL_THEN(DDS_PropertySeq_assert_element(e.seq.get(), nullptr, "dds.participant.index", "12345"),
                   DDS_PropertySeq_lookup_element(e.seq.get(), "dds.participant.index")->value),
         "0 12345", "5 3", {}},
        {"DDS_PropertySeq_copy_property_without_prefix", {},
         [](Env &) { DDS_Property_t out{}; const DDS_Property_t in{const_cast<char *>("p.name"), const_cast<char *>("v"), 1};
                      const long r = DDS_PropertySeq_copy_property_without_prefix(&out, &in, "P.", 1) != nullptr;
                      const std::string got = r ? std::string(out.name) + "=" + out.value : std::string(out.name == nullptr ? "-" : "?");
                      DDS_String_free(out.name); DDS_String_free(out.value);
                      return text(r, got); },
         "1 name=v", "0 -", {}},
        {"DDS_StringSeq_from_delimited_string", {},
         CALL_THEN(DDS_StringSeq_from_delimited_string(&e.names, "udp, shmem,,tcp1 , relay", ','), text(DDS_StringSeq_get_length(&e.names))),
         "0 4", "5 0", {}},
    };
}

class ApiSweepTest : public ModuleTest {};

TEST_F(ApiSweepTest, EveryAllocatingOperationFailsCleanlyAtEveryAllocation)
{
    long operations = 0, points = 0;
    for (const Row &row : rows()) {
        SCOPED_TRACE(row.operation);
        std::set<std::string> seen;
        long k = 0;
        for (;; ++k) {
            ASSERT_LT(k, 10000) << "never succeeded";
            const long start = ZynHeap_getOutstanding();
            std::string answer;
            bool refused = false;
            {
                Env env;
                if (row.prepare) {
                    row.prepare(env);
                }
                log.clear();
                const long attempts = ZynHeap_getAllocationCount();
                {
                    FailAfter armed(k);
                    answer = row.call(env);
                }
                refused = ZynHeap_getAllocationCount() - attempts > k;
            }
            EXPECT_EQ(ZynHeap_getOutstanding(), start) << "leak when allocation " << k << " failed";
            if (!refused) {
                EXPECT_EQ(answer, row.ok);
                EXPECT_EQ(log.size(), 0u) << log.dump();
                break;
            }
            if (row.failed) {
                EXPECT_EQ(answer, *row.failed) << "allocation " << k << " refused";
            }
            for (const CapturedEntry &entry : log.entries()) {
                std::string line = std::to_string(entry.level) + " " + entry.templateId + " ";
                for (size_t i = 0; i < entry.args.size(); ++i)
                    line += (i > 0 ? "|" : "") + entry.args[i];
                seen.insert(line);
            }
        }
        EXPECT_GT(k, 0) << "allocated nothing";
        ++operations;
        points += k;
        if (row.exact) {
            EXPECT_EQ(seen, row.entries);
        } else {
            for (const std::string &entry : row.entries)
                EXPECT_EQ(seen.count(entry), 1u) << entry;
        }
    }
    std::printf("API allocation-failure sweep: %ld operations swept, %ld failure points tried\n",
                operations, points);
}

}  // namespace
