// Property-name validation per entity, per prefix and per plug-in, and its three predicates.
#include <climits>
#include <string>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using propqos_test::CapturedEntry;
using propqos_test::FailAfter;
using propqos_test::ModuleTest;
using propqos_test::ScopedPolicy;
using propqos_test::sweepAllocationFailures;

constexpr DDS_PropertyQosPolicyValidationAction WARNING =
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING;
constexpr DDS_PropertyQosPolicyValidationAction EXCEPTION =
    DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
constexpr DDS_PropertyQosPolicyValidationAction SKIP = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;
// Any value that is none of the three.
const DDS_PropertyQosPolicyValidationAction OTHER =
    static_cast<DDS_PropertyQosPolicyValidationAction>(-2);

constexpr const char *kUnexpected = "ZYN_LOG_UNEXPECTED_PROPERTY_sssss";
constexpr const char *kScope = "dds.participant.";

// Omitted prefixes owned by the test.
struct ScopedStrings {
    DDS_StringSeq seq = DDS_SEQUENCE_INITIALIZER;
    explicit ScopedStrings(const char *commaSeparated = "")
    {
        EXPECT_EQ(DDS_StringSeq_from_delimited_string(&seq, commaSeparated, ','), DDS_RETCODE_OK);
    }
    ~ScopedStrings() { DDS_StringSeq_finalize(&seq); }
    ScopedStrings(const ScopedStrings &) = delete;
    ScopedStrings &operator=(const ScopedStrings &) = delete;
};

class NameValidationTest : public ModuleTest {
protected:
    int validateEntity(ScopedPolicy &policy, DDS_EntityKind_t kind,
                       DDS_PropertyQosPolicyValidationAction action)
    {
        return DDS_PropertyQosPolicy_validate_property_names_per_entity(&policy, kind, action);
    }
    // An unexpected-property entry of an entity check, at `level`.
    bool reported(int level, const std::string &name, const std::string &suggestion)
    {
        return log.contains(level, kUnexpected, {"", name, "", suggestion, kScope});
    }
};

TEST_F(NameValidationTest, ActionsDecideWhatAnUnknownNameDoes)
{
    // One misspelt name under "dds.participant." (the first prefix) and one under
    // "dds.transport.", whose closest valid name is a built-in transport's setting.
    const char *participantTypo = "dds.participant.indx";
    const char *transportTypo = "dds.transport.UDPv4.builtin.socket.send_bufer_size";
    // A second unknown name under "dds.participant." is not reported: one per prefix.
    ScopedPolicy policy{{"dds.transport.load_plugins", ""},
                        {transportTypo, "65536"},
                        {participantTypo, "2"},
                        {"dds.participant.domain_tg", "blue"}};

    EXPECT_EQ(validateEntity(policy, DDS_PARTICIPANT_ENTITY_KIND, WARNING), 1);
    EXPECT_EQ(log.size(), 2u) << log.dump();
    EXPECT_TRUE(reported(ZYN_LOG_LEVEL_WARNING, participantTypo, "dds.participant.index"))
        << log.dump();
    EXPECT_TRUE(reported(ZYN_LOG_LEVEL_WARNING, transportTypo,
                         "dds.transport.UDPv4.builtin.socket.send_buffer_size"))
        << log.dump();
    EXPECT_EQ(log.entries()[0].args[1], participantTypo) << "prefixes are checked in table order";

    log.clear();
    EXPECT_EQ(validateEntity(policy, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kUnexpected,
                    {"", participantTypo, "", "dds.participant.index", kScope});

    // SKIP checks nothing, yet the plug-in tables are still built (and released: the fixture
    // checks the heap).
    log.clear();
    const long allocationsBefore = ZynHeap_getAllocationCount();
    EXPECT_EQ(validateEntity(policy, DDS_PARTICIPANT_ENTITY_KIND, SKIP), 1);
    EXPECT_GT(ZynHeap_getAllocationCount(), allocationsBefore);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    EXPECT_EQ(validateEntity(policy, DDS_PARTICIPANT_ENTITY_KIND, OTHER), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // A clean policy passes under the strictest action.
    ScopedPolicy clean{{"dds.participant.index", "2"},
                       {"dds.transport.UDPv4.builtin.socket.send_buffer_size", "65536"}};
    EXPECT_EQ(validateEntity(clean, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(NameValidationTest, NamesThatAreNeverReported)
{
    ScopedPolicy accepted{
        // private names, of the entity and of a built-in plug-in
        {"dds.sec.auth.private_key", "k"},
        {"dds.transport.UDPv4_WAN.builtin.wan.server.password", "p"},
        // the ignore table, anywhere in the name
        {"dds.sec.auth.openssl_engine.id", "pkcs11"},
        {"dds.participant.openssl_engine.", "x"},
        // under no prefix of the participant
        {"my.application.setting", "1"},
        {"dds.data_writer.heartbeat.period", "1"},
        // an unknown loaded plug-in: its own properties are omitted
        {"dds.transport.load_plugins", "dds.transport.Custom_Xyz"},
        {"dds.transport.custom_xyz.library", "libcustom.so"},
        {"dds.transport.Custom_Xyz.anything.at_all", "1"}};
    EXPECT_EQ(validateEntity(accepted, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The ignore table is matched with letter case, private names too.
    ScopedPolicy capitals{{"dds.sec.auth.OPENSSL_ENGINE.id", "pkcs11"}};
    EXPECT_EQ(validateEntity(capitals, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
    log.clear();
    ScopedPolicy privateCapitals{{"dds.sec.auth.Private_key", "k"}};
    EXPECT_EQ(validateEntity(privateCapitals, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
}

TEST_F(NameValidationTest, PrefixesMatchInAnyLetterCase)
{
    // Selected under "dds.participant." although spelt with a capital; the names themselves are
    // compared with letter case, so the capital costs one edit and the missing 'e' another.
    ScopedPolicy policy{{"Dds.participant.indx", "1"}};
    EXPECT_EQ(validateEntity(policy, DDS_PARTICIPANT_ENTITY_KIND, WARNING), 1);
    expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, kUnexpected,
                    {"", "Dds.participant.indx", "", "dds.participant.index", kScope});

    log.clear();
    ScopedPolicy exact{{"DDS.PARTICIPANT.INDEX", "1"}};
    EXPECT_EQ(validateEntity(exact, DDS_PARTICIPANT_ENTITY_KIND, EXCEPTION), 0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << "a known name in other letter case is still unknown";
}

TEST_F(NameValidationTest, KindsWithoutTablesAcceptEverything)
{
    ScopedPolicy policy{{"dds.participant.indx", "1"}, {"dds.data_writer.bogus", "1"}};
    for (DDS_EntityKind_t kind : {DDS_UNKNOWN_ENTITY_KIND, DDS_PUBLISHER_ENTITY_KIND,
                                  DDS_SUBSCRIBER_ENTITY_KIND, DDS_TOPIC_ENTITY_KIND}) {
        EXPECT_EQ(validateEntity(policy, kind, EXCEPTION), 1) << "kind " << kind;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
    // The same policy, seen by the kinds that have tables.
    EXPECT_EQ(validateEntity(policy, DDS_DATAWRITER_ENTITY_KIND, EXCEPTION), 0);
    EXPECT_EQ(validateEntity(policy, DDS_DATAREADER_ENTITY_KIND, EXCEPTION), 1);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
}

TEST_F(NameValidationTest, OnePrefixWithItsOwnTables)
{
    const char *publicNames[] = {"app.alpha", "app.name1", "app.name12", ""};
    const char *privateNames[] = {"app.secret", ""};
    const char *pluginPublic[] = {"app.plugin.x", "app.name2", "app.name3x", ""};
    const char *pluginPrivate[] = {"app.plugin.key", ""};
    ScopedStrings omitted("Custom.");
    auto check = [&](std::initializer_list<std::pair<const char *, const char *>> properties,
                     const char *const *plugins, DDS_PropertyQosPolicyValidationAction action) {
        ScopedPolicy policy(properties);
        return DDS_PropertyQosPolicy_validateEntityPropertyNames(
            &policy, "app.", publicNames, privateNames, plugins, pluginPrivate, &omitted.seq,
            action);
    };

    // Equal distances (1 each): the entity's own name is suggested.
    EXPECT_EQ(check({{"app.name4", "v"}}, pluginPublic, WARNING), 1);
    expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, kUnexpected, {"", "app.name4", "", "app.name1", kScope});
    // The plug-in's name when strictly closer: "app.name3xy" is 1 from "app.name3x" but 3 from
    // both "app.name1" and "app.name12".
    log.clear();
    EXPECT_EQ(check({{"app.name3xy", "v"}}, pluginPublic, EXCEPTION), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kUnexpected, {"", "app.name3xy", "", "app.name3x", kScope});
    // Without plug-in tables the entity's closest name is all there is: the first of the two
    // at distance 3.
    log.clear();
    EXPECT_EQ(check({{"app.name3xy", "v"}}, nullptr, EXCEPTION), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kUnexpected, {"", "app.name3xy", "", "app.name1", kScope});

    // Accepted: public names of either table, private names of either, an omitted prefix in the
    // middle of a name (any letter case), ignored fragments, and names outside the prefix.
    log.clear();
    EXPECT_EQ(check({{"app.alpha", "v"},
                     {"app.name2", "v"},
                     {"app.secret", "v"},
                     {"app.plugin.key", "v"},
                     {"app.my.CUSTOM.whatever", "v"},
                     {"app.x.openssl_engine.y", "v"},
                     {"other.thing", "v"}},
                    pluginPublic, EXCEPTION),
              1);

    // A plug-in's name is unknown without the plug-in tables; an action that is none of the three
    // refuses it silently, and SKIP looks at nothing.
    EXPECT_EQ(check({{"app.name2", "v"}}, nullptr, OTHER), 0);
    EXPECT_EQ(check({{"app.name2", "v"}}, pluginPublic, SKIP), 1);
    EXPECT_EQ(check({{"app.unknown", "v"}}, pluginPublic, SKIP), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(NameValidationTest, PreconditionsInOrder)
{
    const char *names[] = {"a.b", ""};
    ScopedStrings omitted;
    ScopedPolicy policy{{"a.c", "v"}};
    // Each call nulls one argument and every one after it, so only the first may be named; even
    // SKIP is refused then.
    auto entity = [&](const DDS_PropertyQosPolicy *input, const char *prefix,
                      const char *const *publicNames, const char *const *privateNames,
                      const DDS_StringSeq *omittedPrefixes) {
        return DDS_PropertyQosPolicy_validateEntityPropertyNames(
            input, prefix, publicNames, privateNames, nullptr, nullptr, omittedPrefixes, SKIP);
    };
    auto plugin = [&](const DDS_PropertyQosPolicy *input, const char *prefix,
                      const char *const *publicNames, const char *const *privateNames) {
        return DDS_PropertyQosPolicy_validate_plugin_property_suffixes(input, prefix, publicNames,
                                                                       privateNames, nullptr, SKIP);
    };
    const std::pair<int, const char *> cases[] = {
        {entity(nullptr, nullptr, nullptr, nullptr, nullptr), "inputProperty == ((void *)0)"},
        {entity(&policy, nullptr, nullptr, nullptr, nullptr), "prefix == ((void *)0)"},
        {entity(&policy, "a.", nullptr, nullptr, nullptr), "validPublicPropertyNames == ((void *)0)"},
        {entity(&policy, "a.", names, nullptr, nullptr), "validPrivatePropertyNames == ((void *)0)"},
        {entity(&policy, "a.", names, names, nullptr), "omittedPrefixes == ((void *)0)"},
        {DDS_PropertyQosPolicy_validate_property_names_per_entity(
             nullptr, DDS_PARTICIPANT_ENTITY_KIND, SKIP),
         "inputProperty == ((void *)0)"},
        {plugin(nullptr, nullptr, nullptr, nullptr), "inputProperty == ((void *)0)"},
        {plugin(&policy, nullptr, nullptr, nullptr), "prefix == ((void *)0)"},
        {plugin(&policy, "p", nullptr, nullptr), "validPublicPluginPropertySuffixes == ((void *)0)"},
        {plugin(&policy, "p", names, nullptr), "validPrivatePluginPropertySuffixes == ((void *)0)"},
    };
    ASSERT_EQ(log.size(), sizeof cases / sizeof cases[0]) << log.dump();
    for (size_t i = 0; i < log.size(); ++i) {
        EXPECT_EQ(cases[i].first, 0) << cases[i].second;
        EXPECT_EQ(log.entries()[i].templateId, "ZYN_LOG_PRECONDITION_FAILURE_s");
        EXPECT_EQ(log.entries()[i].args, std::vector<std::string>{std::string("\"") +
                                                                  cases[i].second + "\""});
    }
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
}

TEST_F(NameValidationTest, PluginSuffixCheck)
{
    const char *publicSuffixes[] = {"library", "socket.send_buffer_size",
                                    "socket.receive_buffer_size", ""};
    const char *privateSuffixes[] = {"tls.private_key", ""};
    const char *prefix = "dds.transport.TCPv4.tcp1";
    ScopedPolicy typo{{"library", "libx.so"},
                      {"tls.private_key", "secret"},
                      {"engine.openssl_engine.id", "x"},
                      {"socket.send_bufer_size", "1"},
                      {"socket.nonsense", "1"}};

    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &typo, prefix, publicSuffixes, privateSuffixes, nullptr, WARNING),
              1);
    expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, kUnexpected,
                    {prefix, "socket.send_bufer_size", prefix, "socket.send_buffer_size", prefix});

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &typo, "", publicSuffixes, privateSuffixes, nullptr, EXCEPTION),
              0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kUnexpected,
                    {"", "socket.send_bufer_size", "", "socket.send_buffer_size", kScope});

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &typo, prefix, publicSuffixes, privateSuffixes, nullptr, OTHER),
              0);
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &typo, prefix, publicSuffixes, privateSuffixes, nullptr, SKIP),
              1);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The omitted prefix exempts any name it occurs in, letter case ignored; it is checked
    // before the lists, so it exempts even a misspelt name.
    ScopedPolicy omitted{{"socket.send_bufer_size", "1"}, {"x.SOCKET.y", "1"}};
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &omitted, prefix, publicSuffixes, privateSuffixes, "Socket.", EXCEPTION),
              1);
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &omitted, prefix, publicSuffixes, privateSuffixes, "nowhere", EXCEPTION),
              0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();

    // Private suffixes are accepted only from the private list.
    log.clear();
    ScopedPolicy privateOnly{{"tls.private_key", "k"}};
    const char *none[] = {""};
    EXPECT_EQ(DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
                  &privateOnly, prefix, publicSuffixes, none, nullptr, EXCEPTION),
              0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
}

TEST_F(NameValidationTest, Predicates)
{
    const char *first[] = {"a.secret", "b.secret", ""};
    const char *second[] = {"c.secret", ""};
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate("b.secret", first, nullptr), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate("c.secret", first, nullptr), 0);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate("c.secret", first, second), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate("C.secret", first, second), 0);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyPrivate("a.secret.more", first, second), 0);

    ScopedStrings omitted("dds.transport.mine,other.");
    EXPECT_EQ(DDS_PropertyQosPolicy_isPrefixOmitted("dds.transport.mine.x", &omitted.seq), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPrefixOmitted("x.DDS.Transport.MINE", &omitted.seq), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPrefixOmitted("a.other.b", &omitted.seq), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPrefixOmitted("dds.transport.min", &omitted.seq), 0);
    ScopedStrings empty;
    EXPECT_EQ(DDS_PropertyQosPolicy_isPrefixOmitted("anything", &empty.seq), 0);

    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyIgnored("openssl_engine."), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyIgnored("a.openssl_engine.b"), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyIgnored("a.openssl_engine"), 0);
    EXPECT_EQ(DDS_PropertyQosPolicy_isPropertyIgnored("a.OpenSSL_engine.b"), 0);
    EXPECT_STREQ(g_ignoreProperties[0], "openssl_engine.");
    EXPECT_STREQ(g_ignoreProperties[1], "");
    EXPECT_EQ(log.size(), 0u) << log.dump();

    const std::pair<int, const char *> nulls[] = {
        {DDS_PropertyQosPolicy_isPropertyPrivate(nullptr, nullptr, second), "propertyName"},
        {DDS_PropertyQosPolicy_isPropertyPrivate("c.secret", nullptr, second),
         "validPrivatePropertyNames"},
        {DDS_PropertyQosPolicy_isPrefixOmitted(nullptr, nullptr), "propertyName"},
        {DDS_PropertyQosPolicy_isPrefixOmitted("x", nullptr), "omittedPrefixes"},
        {DDS_PropertyQosPolicy_isPropertyIgnored(nullptr), "propertyName"},
    };
    ASSERT_EQ(log.size(), 5u) << log.dump();
    for (size_t i = 0; i < log.size(); ++i) {
        EXPECT_EQ(nulls[i].first, 0);
        EXPECT_EQ(log.entries()[i].args[0], std::string("\"") + nulls[i].second + " == ((void *)0)\"");
    }
}

// One mistyped property in each of a participant's, a writer's and a reader's policy, among
// properly spelt ones of the entity, of loaded and built-in plug-ins.
TEST_F(NameValidationTest, EndToEndPerEntity)
{
    struct Case {
        DDS_EntityKind_t kind;
        DDS_PropertyQosPolicy *policy;
        const char *typo;
        const char *suggestion;
    };
    // A loaded TCPv4 transport: "prot" for "port" is two edits from its setting, and no name of
    // the participant's own table is anywhere near, so the plug-in's name is suggested.
    ScopedPolicy participant{{"dds.transport.load_plugins", "dds.transport.TCPv4.tcp1"},
                             {"dds.transport.TCPv4.tcp1.library", "libtcp.so"},
                             {"dds.transport.TCPv4.tcp1.server.bind_prot", "7400"},
                             {"dds.transport.UDPv4.builtin.multicast.ttl", "4"},
                             {"dds.participant.index", "0"},
                             {"dds.sec.auth.private_key", "pem"},
                             {"dds.flow_controller.token_bucket.slow.bucket.period", "1s"}};
    // A writer-history plug-in named by the writer: one letter missing from its setting.
    ScopedPolicy writer{{"dds.data_writer.history.plugin_name", "dds.data_writer.history.durable"},
                        {"dds.data_writer.history.durable.storage.directry", "/var/lib"},
                        {"dds.data_writer.history.durable.storage.cryptography.key", "k"},
                        {"dds.data_writer.heartbeat.period", "1"}};
    // A reader with no plug-ins: one letter missing from a name of its own table.
    ScopedPolicy reader{{"dds.data_reader.nack.perod", "1"},
                        {"dds.data_reader.max_remote_writers", "8"}};
    const Case cases[] = {
        {DDS_PARTICIPANT_ENTITY_KIND, &participant, "dds.transport.TCPv4.tcp1.server.bind_prot",
         "dds.transport.TCPv4.tcp1.server.bind_port"},
        {DDS_DATAWRITER_ENTITY_KIND, &writer, "dds.data_writer.history.durable.storage.directry",
         "dds.data_writer.history.durable.storage.directory"},
        {DDS_DATAREADER_ENTITY_KIND, &reader, "dds.data_reader.nack.perod",
         "dds.data_reader.nack.period"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.typo);
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicy_validate_property_names_per_entity(c.policy, c.kind, WARNING), 1);
        expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, kUnexpected, {"", c.typo, "", c.suggestion, kScope});
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicy_validate_property_names_per_entity(c.policy, c.kind, EXCEPTION),
                  0);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kUnexpected, {"", c.typo, "", c.suggestion, kScope});
    }
}

TEST_F(NameValidationTest, ReleasesEverythingWhenAllocationsFail)
{
    // Loaded, unknown (omitted) and built-in plug-ins, a flow controller, and a misspelt name, so
    // that every kind of acquisition happens before the report.
    for (DDS_EntityKind_t kind : {DDS_PARTICIPANT_ENTITY_KIND, DDS_DATAWRITER_ENTITY_KIND}) {
        long points = sweepAllocationFailures([&](long k) {
            ScopedPolicy policy{
                {"dds.transport.load_plugins", "dds.transport.TCPv4.tcp1,dds.transport.mystery"},
                {"dds.transport.TCPv4.tcp1.library", "libtcp.so"},
                {"dds.transport.mystery.anything", "1"},
                {"dds.flow_controller.token_bucket.slow.scheduling", "EDF"},
                {"dds.data_writer.history.plugin_name", "dds.data_writer.history.durable"},
                {"dds.data_writer.history.durable.storage.directory", "/var"},
                {"dds.participant.indx", "1"},
                {"dds.data_writer.heartbeat.perod", "1"}};
            log.clear();
            int ok;
            {
                FailAfter armed(k);
                ok = DDS_PropertyQosPolicy_validate_property_names_per_entity(&policy, kind,
                                                                              WARNING);
            }
            if (ok) {
                EXPECT_EQ(log.size(), 1u) << log.dump();
                EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
                return true;
            }
            // A failure is reported as such and ends the check.
            bool failureEntry = false;
            for (const CapturedEntry &entry : log.entries()) {
                failureEntry = failureEntry || entry.level == ZYN_LOG_LEVEL_ERROR;
            }
            EXPECT_TRUE(failureEntry) << log.dump();
            EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_s",
                                     {"plugin properties"}) ||
                        log.count("ZYN_LOG_GET_FAILURE_ss") == 1)
                << log.dump();
            return false;
        });
        EXPECT_GT(points, 3) << "the sweep should reach past the plug-in tables";
    }
}

}  // namespace
