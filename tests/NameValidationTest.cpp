// Property-name validation per entity, per prefix and per plug-in, and its three predicates.
#include <set>
#include <string>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

constexpr auto WARNING = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING;
constexpr auto EXCEPTION = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION;
constexpr auto SKIP = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;
const auto OTHER = static_cast<DDS_PropertyQosPolicyValidationAction>(-2);   // none of the three
constexpr DDS_EntityKind_t PARTICIPANT = DDS_PARTICIPANT_ENTITY_KIND;
constexpr auto isPrivate = DDS_PropertyQosPolicy_isPropertyPrivate;
constexpr auto isOmitted = DDS_PropertyQosPolicy_isPrefixOmitted;
constexpr auto isIgnored = DDS_PropertyQosPolicy_isPropertyIgnored;
constexpr auto checkPlugin = DDS_PropertyQosPolicy_validate_plugin_property_suffixes;
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
};

class NameValidationTest : public ModuleTest {
protected:
    // The per-entity check on a clear log.
    int validate(ScopedPolicy &policy, DDS_EntityKind_t kind,
                 DDS_PropertyQosPolicyValidationAction action)
    {
        log.clear();
        return DDS_PropertyQosPolicy_validate_property_names_per_entity(&policy, kind, action);
    }
    // The one entry is an entity check's report of `name` with `suggestion`.
    void expectReport(int level, const std::string &name, const std::string &suggestion)
    {
        expectOnlyEntry(level, kUnexpected, {"", name, "", suggestion, kScope});
    }
};

TEST_F(NameValidationTest, ActionsDecideWhatAnUnknownNameDoes)
{
    // A misspelt name under "dds.participant." (the first prefix) and one under "dds.transport.",
    // whose closest valid name is a built-in transport's setting. A second unknown name under
    // "dds.participant." is not reported: one per prefix.
    const char *participantTypo = "dds.participant.indx";
    const char *transportTypo = "dds.transport.UDPv4.builtin.socket.send_bufer_size";
    ScopedPolicy policy{{"dds.transport.load_plugins", ""}, {transportTypo, "65536"},
                        {participantTypo, "2"}, {"dds.participant.domain_tg", "blue"}};
    EXPECT_EQ(validate(policy, PARTICIPANT, WARNING), 1);
    ASSERT_EQ(log.size(), 2u) << log.dump();
    EXPECT_EQ(log.entries()[0].args, (std::vector<std::string>{"", participantTypo, "",
                                                               "dds.participant.index", kScope}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, kUnexpected,
                             {"", transportTypo, "",
                              "dds.transport.UDPv4.builtin.socket.send_buffer_size", kScope}));
    EXPECT_EQ(validate(policy, PARTICIPANT, EXCEPTION), 0);
    expectReport(ZYN_LOG_LEVEL_ERROR, participantTypo, "dds.participant.index");
    // SKIP checks nothing, yet the plug-in prefix map is still built (and released: the fixture
    // checks the heap). An action that is none of the three refuses silently.
    const long allocationsBefore = ZynHeap_getAllocationCount();
    EXPECT_EQ(validate(policy, PARTICIPANT, SKIP), 1);
    EXPECT_GT(ZynHeap_getAllocationCount(), allocationsBefore);
    EXPECT_EQ(validate(policy, PARTICIPANT, OTHER), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    ScopedPolicy clean{{"dds.participant.index", "2"},
                       {"dds.transport.UDPv4.builtin.socket.send_buffer_size", "65536"}};
    EXPECT_EQ(validate(clean, PARTICIPANT, EXCEPTION), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(NameValidationTest, WhichNamesAreChecked)
{
    ScopedPolicy accepted{
        // an unknown loaded plug-in: its own properties are omitted, letter case ignored
        {"dds.transport.load_plugins", "dds.transport.Custom_Xyz"},
        {"dds.transport.custom_xyz.library", "libcustom.so"},
        {"dds.transport.Custom_Xyz.anything.at_all", "1"}};
    EXPECT_EQ(validate(accepted, PARTICIPANT, EXCEPTION), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The ignore table and private names are matched with letter case, and so are names; only
    // the prefixes are matched in any case: "Dds" costs one edit and the missing 'e' another.
    const std::pair<const char *, const char *> unknown[] = {
        {"dds.sec.auth.OPENSSL_ENGINE.id", nullptr},
        {"dds.sec.auth.Private_key", nullptr},
        {"DDS.PARTICIPANT.INDEX", nullptr},
        {"Dds.participant.indx", "dds.participant.index"}};
    for (const auto &[name, suggestion] : unknown) {
        ScopedPolicy policy{{name, "1"}};
        EXPECT_EQ(validate(policy, PARTICIPANT, EXCEPTION), 0) << name;
        EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
        if (suggestion != nullptr) {
            expectReport(ZYN_LOG_LEVEL_ERROR, name, suggestion);
        }
    }

    // Kinds without tables accept everything; the same policy, seen by the kinds with tables.
    ScopedPolicy policy{{"dds.participant.indx", "1"}, {"dds.data_writer.bogus", "1"}};
    for (DDS_EntityKind_t kind : {DDS_UNKNOWN_ENTITY_KIND, DDS_PUBLISHER_ENTITY_KIND,
                                  DDS_SUBSCRIBER_ENTITY_KIND, DDS_TOPIC_ENTITY_KIND}) {
        EXPECT_EQ(validate(policy, kind, EXCEPTION), 1) << "kind " << kind;
        EXPECT_EQ(log.size(), 0u) << log.dump();
    }
    EXPECT_EQ(validate(policy, DDS_DATAREADER_ENTITY_KIND, EXCEPTION), 1);
    EXPECT_EQ(validate(policy, DDS_DATAWRITER_ENTITY_KIND, EXCEPTION), 0);
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
        log.clear();
        return DDS_PropertyQosPolicy_validateEntityPropertyNames(
            &policy, "app.", publicNames, privateNames, plugins, pluginPrivate, &omitted.seq,
            action);
    };
    // Equal distances (1 each): the entity's own name is suggested. The plug-in's name when
    // strictly closer: "app.name3xy" is 1 from "app.name3x" but 3 from both "app.name1" and
    // "app.name12"; without plug-in tables the first of those two.
    EXPECT_EQ(check({{"app.name4", "v"}}, pluginPublic, WARNING), 1);
    expectReport(ZYN_LOG_LEVEL_WARNING, "app.name4", "app.name1");
    EXPECT_EQ(check({{"app.name3xy", "v"}}, pluginPublic, EXCEPTION), 0);
    expectReport(ZYN_LOG_LEVEL_ERROR, "app.name3xy", "app.name3x");
    EXPECT_EQ(check({{"app.name3xy", "v"}}, nullptr, EXCEPTION), 0);
    expectReport(ZYN_LOG_LEVEL_ERROR, "app.name3xy", "app.name1");

    // Accepted: public names of either table, private names of either, an omitted prefix in the
    // middle of a name (any letter case), ignored fragments, and names outside the prefix.
    EXPECT_EQ(check({{"app.alpha", "v"}, {"app.name2", "v"}, {"app.secret", "v"},
                     {"app.plugin.key", "v"}, {"app.my.CUSTOM.whatever", "v"},
                     {"app.x.openssl_engine.y", "v"}, {"other.thing", "v"}},
                    pluginPublic, EXCEPTION),
              1);
    // A plug-in's name is unknown without the plug-in tables, refused silently by an action that
    // is none of the three; SKIP looks at nothing.
    EXPECT_EQ(check({{"app.name2", "v"}}, nullptr, OTHER), 0);
    EXPECT_EQ(check({{"app.unknown", "v"}}, pluginPublic, SKIP), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(NameValidationTest, PluginSuffixCheck)
{
    const char *publicSuffixes[] = {"library", "socket.send_buffer_size",
                                    "socket.receive_buffer_size", ""};
    const char *privateSuffixes[] = {"tls.private_key", ""};
    const char *none[] = {""};
    const char *prefix = "dds.transport.TCPv4.tcp1";
    ScopedPolicy typo{{"library", "libx.so"}, {"tls.private_key", "secret"},
                      {"engine.openssl_engine.id", "x"}, {"socket.send_bufer_size", "1"},
                      {"socket.nonsense", "1"}};
    auto check = [&](ScopedPolicy &policy, const char *prefix, const char *const *privateNames,
                     const char *omitted, DDS_PropertyQosPolicyValidationAction action) {
        log.clear();
        return checkPlugin(&policy, prefix, publicSuffixes, privateNames, omitted, action);
    };
    // The prefix fills the first, third and last arguments; an empty one leaves the last to the
    // participant's.
    EXPECT_EQ(check(typo, prefix, privateSuffixes, nullptr, WARNING), 1);
    expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, kUnexpected,
                    {prefix, "socket.send_bufer_size", prefix, "socket.send_buffer_size", prefix});
    EXPECT_EQ(check(typo, "", privateSuffixes, nullptr, EXCEPTION), 0);
    expectReport(ZYN_LOG_LEVEL_ERROR, "socket.send_bufer_size", "socket.send_buffer_size");
    EXPECT_EQ(check(typo, prefix, privateSuffixes, nullptr, OTHER), 0);
    EXPECT_EQ(check(typo, prefix, privateSuffixes, nullptr, SKIP), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The omitted prefix exempts any name it occurs in, letter case ignored, even a misspelt one.
    ScopedPolicy omitted{{"socket.send_bufer_size", "1"}, {"x.SOCKET.y", "1"}};
    EXPECT_EQ(check(omitted, prefix, privateSuffixes, "Socket.", EXCEPTION), 1);
    EXPECT_EQ(check(omitted, prefix, privateSuffixes, "nowhere", EXCEPTION), 0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
    // Private suffixes are accepted only from the private list.
    ScopedPolicy privateOnly{{"tls.private_key", "k"}};
    EXPECT_EQ(check(privateOnly, prefix, none, nullptr, EXCEPTION), 0);
    EXPECT_EQ(log.count(kUnexpected), 1u) << log.dump();
}

// The per-entity check knows a plug-in name by its parts (a prefix of the plug-in map, '.', a
// suffix of that entry's kind) without composing the names: it must accept exactly the names
// that DDS_PropertyQosPolicy_populatePluginProperties composes, over every way an entry comes
// in (loaded, an extending kind, a sub-transport, built in, a prefix mapped to two kinds, flow
// controllers).
TEST_F(NameValidationTest, PluginNamesAreExactlyTheComposedOnes)
{
    ScopedPolicy policy{
        {"dds.transport.load_plugins",
         "dds.transport.UDPv4_WAN.w1, dds.transport.relay.r1, dds.transport.shmem.builtin"},
        {"dds.transport.UDPv4_WAN.w1.create_function", "ZynTransportUdpv4Wan_create"},
        {"dds.transport.relay.r1.create_function", "ZynTransportRelay_create"},
        {"dds.transport.relay.r1.subtransport", "TCPv4"},
        {"dds.transport.shmem.builtin.create_function", "ZynTransportUdpv4_create"},
        {"dds.flow_controller.token_bucket.fc1.scheduling", "EDF"},
        {"dds.flow_controller.token_bucket.fc2.bucket.period", "1"}};
    ASSERT_EQ(validate(policy, PARTICIPANT, EXCEPTION), 1) << log.dump();
    char **open = nullptr, **secret = nullptr;
    int openSize = 1, secretSize = 1;
    std::set<std::string> composed;
    {
        ScopedStrings omitted;
        ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginProperties(
                      &open, &secret, &openSize, &secretSize, &omitted.seq, &policy, PARTICIPANT), 1);
    }
    for (auto [names, size] : {std::pair{open, openSize}, std::pair{secret, secretSize}}) {
        for (int i = 0; i < size; ++i) {
            composed.insert(names[i]);
            DDS_String_free(names[i]);
        }
        ZynOsapiHeap_freeArray(names);
    }
    composed.erase("");
    ASSERT_GT(composed.size(), 100u);
    for (const std::string &name : composed) {
        for (const std::string &candidate : {name, name + "_", lower(name)}) {
            if ((candidate != name && composed.count(candidate) > 0) ||
                DDS_PropertyQosPolicyHelper_lookup_property(&policy, candidate.c_str()) != nullptr) {
                continue;   // already decided, or a setting of the policy itself
            }
            ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, candidate.c_str(), "1", 0),
                      DDS_RETCODE_OK);
            EXPECT_EQ(validate(policy, PARTICIPANT, EXCEPTION), candidate == name ? 1 : 0) << candidate;
            DDS_PropertyQosPolicyHelper_remove_property(&policy, candidate.c_str());
        }
    }

    // An unknown name is told the closest composed name: the tables are composed for it. With
    // memory short at any point the check fails, reports the shortage and releases everything
    // (the fixture checks the heap).
    const char *typo = "dds.flow_controller.token_bucket.fc2.bucket.perod";
    DDS_PropertyQosPolicyHelper_add_property(&policy, typo, "1", 0);
    EXPECT_EQ(validate(policy, PARTICIPANT, EXCEPTION), 0);
    expectReport(ZYN_LOG_LEVEL_ERROR, typo, "dds.flow_controller.token_bucket.fc2.bucket.period");
    bool shortageOfTables = false;
    for (long k = 0;; ++k) {
        log.clear();
        const long attempts = ZynHeap_getAllocationCount();
        {
            FailAfter armed(k);
            EXPECT_EQ(DDS_PropertyQosPolicy_validate_property_names_per_entity(&policy, PARTICIPANT,
                                                                               EXCEPTION), 0);
        }
        if (ZynHeap_getAllocationCount() - attempts <= k) {
            break;
        }
        EXPECT_EQ(log.count(kUnexpected), 0u) << "allocation " << k << " refused";
        shortageOfTables = log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_s", {"plugin properties"});
    }
    EXPECT_TRUE(shortageOfTables) << "the last allocation refused is the tables'";
}

}  // namespace
