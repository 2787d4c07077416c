// A sample of the constant tables' rows, each checked through the operations that read it
// against what the middleware documents: which names each entity accepts and keeps secret, which
// kind a loaded plug-in is recognised as (by its name or its create function), and which
// settings each kind accepts under the instance's prefix.
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class TablesTest : public ModuleTest {};

constexpr DDS_EntityKind_t P = DDS_PARTICIPANT_ENTITY_KIND, W = DDS_DATAWRITER_ENTITY_KIND,
                           R = DDS_DATAREADER_ENTITY_KIND;
enum Verdict { kValid, kPrivate, kUnknown };

// Loads three plug-ins: by name (TLS, WAN) and by create function only (an oddly named UDPv6).
const std::vector<std::pair<const char *, const char *>> kLoads = {
    {"dds.transport.load_plugins", "dds.transport.TCPv4_TLS.s,dds.transport.UDPv4_WAN.w,dds.transport.x6,dds.transport.TCPv4.t"},
    {"dds.transport.x6.create_function", "ZynTransportUdpv6_create"},
};

TEST_F(TablesTest, EachEntityAcceptsItsNamesAndKeepsItsSecrets)
{
    const struct {
        DDS_EntityKind_t kind;
        const char *name;
        Verdict verdict;
    } cases[] = {
        {P, "dds.participant.index", kValid},
        {P, "dds.participant.domain_tag", kValid},
        {P, "dds.participant.property_validation_action", kValid},
        {P, "dds.transport.load_plugins", kValid},
        {P, "dds.discovery.initial_peers", kValid},
        {P, "dds.sec.auth.identity_ca", kValid},
        {P, "dds.sec.auth.password", kPrivate},
        {P, "dds.sec.crypto.rtps_psk_secret_passphrase", kPrivate},
        {P, "dds.flow_controller.token_bucket.fc.bucket.period", kValid},
        {P, "dds.flow_controller.bogus", kUnknown},
        {P, "com.zyn.bogus", kUnknown},
        {P, "dds.transport.UDPv4.builtin.socket.send_buffer_size", kValid},
        {P, "dds.transport.UDPv4.builtin.multicast.hop_limit", kUnknown},  // IPv6's name
        {P, "dds.transport.UDPv6.builtin.multicast.hop_limit", kValid},
        {P, "dds.transport.shmem.builtin.receive.buffer_size", kValid},
        {P, "dds.transport.TCPv4.t.server.bind_port", kValid},
        {P, "dds.transport.TCPv4_TLS.s.server.bind_port", kValid},  // TLS extends TCPv4
        {P, "dds.transport.TCPv4_TLS.s.tls.private_key_password", kPrivate},
        {P, "dds.transport.UDPv4_WAN.w.wan.server.password", kPrivate},
        {P, "dds.transport.UDPv4_WAN.w.socket.send_buffer_size", kValid},
        {P, "dds.transport.x6.socket.traffic_class", kValid},
        {P, "dds.transport.x6.socket.dscp", kUnknown},
        {P, "dds.data_writer.heartbeat.period", kValid},  // not a participant prefix: unchecked
        {W, "dds.data_writer.heartbeat.period", kValid},
        {W, "dds.data_writer.history.plugin_name", kValid},
        {W, "dds.data_writer.heartbet.period", kUnknown},
        {R, "dds.data_reader.nack.period", kValid},
        {R, "dds.data_reader.nack.perod", kUnknown},
        {R, "openssl_engine.dds.data_reader.x", kValid},  // ignored everywhere
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ScopedPolicy policy;
        for (const auto &[name, value] : kLoads)
            DDS_PropertyQosPolicyHelper_add_property(&policy, name, value, 0);
        DDS_PropertyQosPolicyHelper_add_property(&policy, c.name, "1", 0);
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicy_validate_property_names_per_entity(
                      &policy, c.kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION),
                  c.verdict == kUnknown ? 0 : 1)
            << log.dump();
        // Secrets: the entity's own private names, or a private suffix of a plug-in row.
        char **open = nullptr, **secret = nullptr;
        int openSize = 1, secretSize = 1;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginProperties(&open, &secret, &openSize, &secretSize,
                                                                 &omitted, &policy, c.kind), 1);
        const char *const *own = c.kind == P   ? PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT
                                 : c.kind == W ? PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER
                                               : PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER;
        EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate(c.name, own, secret), c.verdict == kPrivate ? 1 : 0);
        for (auto [array, size] : {std::pair{open, openSize}, std::pair{secret, secretSize}}) {
            for (int i = 0; i < size; ++i)
                DDS_String_free(array[i]);
            ZynOsapiHeap_freeArray(array);
        }
        DDS_StringSeq_finalize(&omitted);
    }
}

TEST_F(TablesTest, LoadedPluginsAreRecognisedByNameOrCreateFunction)
{
    const struct {
        const char *name, *createFunction, *kind;  // kind "": omitted
    } cases[] = {
        {"dds.transport.TCPv4.t", nullptr, "TCPV4"},
        {"dds.transport.TCPv4_TLS.s", nullptr, "TCPV4_TLS"},
        {"DDS.Transport.udpv4_wan.edge", nullptr, "UDPV4_WAN"},  // letter case ignored
        {"dds.transport.UDPv4.mine", nullptr, "UDPV4"},
        {"dds.transport.relay.r", nullptr, "RELAY"},
        {"dds.sec.crypto.c", nullptr, "CRYPTOGRAPHY"},
        {"com.zyn.monitor.m", nullptr, "MONITORING"},
        {"p1", "ZynTransportUdpv6_create", "UDPV6"},
        {"p2", "ZynTransportShmem_create", "SHMEM"},
        {"p3", "ZynTransportTcpv4Tls_create", "TCPV4_TLS"},
        {"p4", "ZynSecAuthentication_create", "AUTHENTICATION"},
        {"p5", "ZynWriterHistory_create", "WRITER_HISTORY"},
        {"p6", "zyntransportudpv6_create", ""},  // a create function is matched exactly
        {"dds.transport.sctp.x", nullptr, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ScopedPolicy policy{{"dds.transport.load_plugins", c.name}};
        if (c.createFunction != nullptr)
            DDS_PropertyQosPolicyHelper_add_property(&policy, (std::string(c.name) + ".create_function").c_str(),
                                                     c.createFunction, 0);
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        EXPECT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, &policy), 1);
        const bool known = *c.kind != '\0';
        ASSERT_EQ(DDS_TagSeq_get_length(&map), known ? 1 : 0);
        ASSERT_EQ(DDS_StringSeq_get_length(&omitted), known ? 0 : 1);
        if (known) {
            EXPECT_STREQ(DDS_TagSeq_get_reference(&map, 0)->value, c.kind);
        }
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&omitted);
    }
}

}  // namespace
