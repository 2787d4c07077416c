// The valid plug-in property arrays: which names each entity kind gets, the counts the caller
// frees by, the helpers that count, write and close, and a failure at every allocation leaving
// arrays that the caller's own freeing loop releases.
#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "support/TestSupport.h"
#include "tables/Tables.h"

namespace {

using namespace propqos_test;

using Entry = std::pair<std::string, std::string>;   // prefix, kind
using Entries = std::vector<Entry>;
using Names = std::vector<std::string>;

class PluginPropertyArraysTest : public ModuleTest {};

// The caller's side: frees every slot below the count, then the array.
void freeNameArray(char **array, int count)
{
    if (array == nullptr) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        DDS_String_free(array[i]);
    }
    ZynOsapiHeap_freeArray(array);
}

// One call of the builder with the caller's inputs and the caller's release.
struct Build {
    char **publicNames = nullptr;
    char **privateNames = nullptr;
    int publicCount = 1;
    int privateCount = 1;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;

    explicit Build(int extraSlots = 1) : publicCount(extraSlots), privateCount(extraSlots) {}
    ~Build()
    {
        freeNameArray(publicNames, publicCount);
        freeNameArray(privateNames, privateCount);
        DDS_StringSeq_finalize(&omitted);
    }
    Build(const Build &) = delete;
    Build &operator=(const Build &) = delete;

    int run(const DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind)
    {
        return DDS_PropertyQosPolicy_populatePluginProperties(&publicNames, &privateNames, &publicCount,
                                                              &privateCount, &omitted, policy, kind);
    }
};

std::string lowerCopy(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool iContains(const std::string &haystack, const std::string &needle)
{
    return lowerCopy(haystack).find(lowerCopy(needle)) != std::string::npos;
}

// The names the table gives a map, in map order, row order and list order.
std::pair<Names, Names> expand(const Entries &map)
{
    std::pair<Names, Names> names;
    for (const Entry &entry : map) {
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
            if (!iContains(entry.second, row.name)) {
                continue;
            }
            for (int i = 0; i < row.publicPropertiesSize; ++i) {
                names.first.push_back(entry.first + "." + row.publicProperties[i]);
            }
            for (int i = 0; i < row.privatePropertiesSize; ++i) {
                names.second.push_back(entry.first + "." + row.privateProperties[i]);
            }
        }
    }
    return names;
}

// The prefix map that a participant's policy gives, from the sources themselves.
Entries participantMap(const DDS_PropertyQosPolicy *policy, Names *omittedOut)
{
    DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    EXPECT_TRUE(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, policy) &&
                DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&map, &omitted, policy) &&
                DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&map) &&
                DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&map, policy));
    Entries entries;
    for (DDS_Long i = 0; i < DDS_TagSeq_get_length(&map); ++i) {
        const DDS_Tag *tag = DDS_TagSeq_get_reference(&map, i);
        entries.emplace_back(tag->name, tag->value);
    }
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&omitted); ++i) {
        omittedOut->emplace_back(DDS_StringSeq_get(&omitted, i));
    }
    DDS_TagSeq_finalize(&map);
    DDS_StringSeq_finalize(&omitted);
    return entries;
}

Names omittedOf(const DDS_StringSeq *seq)
{
    Names out;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(seq); ++i) {
        const char *name = DDS_StringSeq_get(seq, i);
        out.emplace_back(name != nullptr ? name : "<null>");
    }
    return out;
}

// A complete array: `names`, then "" in the next slot, then null slots up to the count.
void expectTable(char **array, int count, const Names &names, const char *what)
{
    ASSERT_NE(array, nullptr) << what;
    ASSERT_GE(count, static_cast<int>(names.size()) + 1) << what;
    for (size_t i = 0; i < names.size(); ++i) {
        ASSERT_NE(array[i], nullptr) << what << " slot " << i;
        EXPECT_EQ(array[i], names[i]) << what << " slot " << i;
    }
    ASSERT_NE(array[names.size()], nullptr) << what;
    EXPECT_STREQ(array[names.size()], "") << what;
    for (int i = static_cast<int>(names.size()) + 1; i < count; ++i) {
        EXPECT_EQ(array[i], nullptr) << what << " slot " << i;
    }
}

const Entries kBuiltins = {
    {"dds.transport.UDPv4.builtin", "UDPV4"},
    {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
    {"dds.transport.shmem.builtin", "SHMEM"},
    {"dds.transport.UDPv6.builtin", "UDPV6"},
};

const std::string kTokenBucket = "dds.flow_controller.token_bucket.";

// A policy that configures one of everything a participant can have, and a writer history.
struct RichPolicy {
    std::string first = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[0].prefix) + ".first";
    std::string secured;   // an instance of a kind with private suffixes
    std::string loads;
    ScopedPolicy policy;

    RichPolicy()
    {
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
            if (row.privatePropertiesSize > 0 && secured.empty()) {
                secured = std::string(row.prefix) + ".secured";
            }
        }
        // The same instance twice: its names appear twice.
        loads = first + "," + secured + ",unknown.one," + first;
        add("dds.transport.load_plugins", loads);
        add("dds.discovery.participant.load_plugins", "unknown.two");
        add(first + ".subtransport", "shmem");
        add(kTokenBucket + "fast.scheduling", "x");
        add(kTokenBucket + "fast.bucket.period", "x");
        add(kTokenBucket + "slow.scheduling", "x");
        add("dds.data_writer.history.plugin_name", "my.history");
    }
    void add(const std::string &name, const std::string &value)
    {
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), value.c_str(),
                                                           DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
};

TEST_F(PluginPropertyArraysTest, KindsWithoutPluginsGetOnlyTheTerminators)
{
    RichPolicy rich;
    const DDS_EntityKind_t kinds[] = {DDS_UNKNOWN_ENTITY_KIND, DDS_PUBLISHER_ENTITY_KIND,
                                      DDS_SUBSCRIBER_ENTITY_KIND, DDS_TOPIC_ENTITY_KIND,
                                      DDS_DATAREADER_ENTITY_KIND};
    for (DDS_EntityKind_t kind : kinds) {
        Build build;
        ASSERT_EQ(build.run(&rich.policy, kind), 1) << kind;
        EXPECT_EQ(build.publicCount, 1);
        EXPECT_EQ(build.privateCount, 1);
        expectTable(build.publicNames, build.publicCount, {}, "public");
        expectTable(build.privateNames, build.privateCount, {}, "private");
        EXPECT_TRUE(omittedOf(&build.omitted).empty());
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, ParticipantWithoutPluginsGetsTheBuiltinTransportNames)
{
    const std::pair<Names, Names> expected = expand(kBuiltins);
    ASSERT_FALSE(expected.first.empty());
    // The WAN built-in takes the names of every row whose kind it contains.
    size_t wanRows = 0;
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        wanRows += iContains("UDPV4_WAN", row.name) ? 1 : 0;
    }
    EXPECT_GE(wanRows, 2u);

    ScopedPolicy policy{{"dds.unrelated", "1"}};
    Build build;
    ASSERT_EQ(build.run(&policy, DDS_PARTICIPANT_ENTITY_KIND), 1);
    // Exactly full: every slot below the count holds a name or the closing "".
    EXPECT_EQ(build.publicCount, static_cast<int>(expected.first.size()) + 1);
    EXPECT_EQ(build.privateCount, static_cast<int>(expected.second.size()) + 1);
    expectTable(build.publicNames, build.publicCount, expected.first, "public");
    expectTable(build.privateNames, build.privateCount, expected.second, "private");
    EXPECT_TRUE(omittedOf(&build.omitted).empty());
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, ParticipantAndWriterArraysHoldEveryInstanceNameExactly)
{
    RichPolicy rich;
    ASSERT_FALSE(rich.secured.empty());
    Names omitted;
    const Entries map = participantMap(&rich.policy, &omitted);
    const std::pair<Names, Names> expected = expand(map);
    ASSERT_EQ(omitted, (Names{"unknown.one", "unknown.two"}));
    ASSERT_FALSE(expected.second.empty());

    {
        Build build;
        ASSERT_EQ(build.run(&rich.policy, DDS_PARTICIPANT_ENTITY_KIND), 1);
        EXPECT_EQ(build.publicCount, static_cast<int>(expected.first.size()) + 1);
        EXPECT_EQ(build.privateCount, static_cast<int>(expected.second.size()) + 1);
        expectTable(build.publicNames, build.publicCount, expected.first, "public");
        expectTable(build.privateNames, build.privateCount, expected.second, "private");
        EXPECT_EQ(omittedOf(&build.omitted), omitted);
        // The instance loaded twice gives each of its names twice.
        const std::string sample = rich.first + "." + PROPERTY_VALID_PLUGIN_PROPERTIES[0].publicProperties[0];
        EXPECT_EQ(std::count(expected.first.begin(), expected.first.end(), sample), 2);
    }
    {
        // Slots asked for beyond the terminator stay null and count.
        Build build(3);
        ASSERT_EQ(build.run(&rich.policy, DDS_PARTICIPANT_ENTITY_KIND), 1);
        EXPECT_EQ(build.publicCount, static_cast<int>(expected.first.size()) + 3);
        EXPECT_EQ(build.privateCount, static_cast<int>(expected.second.size()) + 3);
        expectTable(build.publicNames, build.publicCount, expected.first, "public");
        expectTable(build.privateNames, build.privateCount, expected.second, "private");
    }
    {
        // A data writer takes only its history plug-in.
        const std::pair<Names, Names> history = expand({{"my.history", "WRITER_HISTORY"}});
        ASSERT_FALSE(history.first.empty());
        Build build;
        ASSERT_EQ(build.run(&rich.policy, DDS_DATAWRITER_ENTITY_KIND), 1);
        expectTable(build.publicNames, build.publicCount, history.first, "public");
        expectTable(build.privateNames, build.privateCount, history.second, "private");
        EXPECT_EQ(build.publicCount, static_cast<int>(history.first.size()) + 1);
        EXPECT_TRUE(omittedOf(&build.omitted).empty());

        ScopedPolicy noHistory{{"dds.transport.load_plugins", rich.first.c_str()}};
        Build plain;
        ASSERT_EQ(plain.run(&noHistory, DDS_DATAWRITER_ENTITY_KIND), 1);
        expectTable(plain.publicNames, plain.publicCount, {}, "public");
        expectTable(plain.privateNames, plain.privateCount, {}, "private");
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, HelpersCountWriteAndCloseOneEntry)
{
    // Counting adds every row whose kind occurs in the entry's kind, and nothing for a stranger.
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        int publicCount = 10;
        int privateCount = 20;
        ASSERT_EQ(DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&publicCount, &privateCount,
                                                                     lowerCopy(row.name).c_str()),
                  1);
        const std::pair<Names, Names> names = expand({{"p", row.name}});
        EXPECT_EQ(publicCount, 10 + static_cast<int>(names.first.size())) << row.name;
        EXPECT_EQ(privateCount, 20 + static_cast<int>(names.second.size())) << row.name;
    }
    int publicCount = 1;
    int privateCount = 1;
    ASSERT_EQ(DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&publicCount, &privateCount, "NO_SUCH"), 1);
    EXPECT_EQ(publicCount, 1);
    EXPECT_EQ(privateCount, 1);

    // A prefix that ends in "." keeps it: the names have two dots in a row. Writing starts at the
    // indexes given and leaves them after the last name.
    const PROPERTYPluginProperty &row = PROPERTY_VALID_PLUGIN_PROPERTIES[0];
    const std::pair<Names, Names> names = expand({{"x.", row.name}});
    ASSERT_EQ(names.first.front().rfind("x..", 0), 0u);
    std::vector<char *> publicSlots(names.first.size() + 3, nullptr);
    std::vector<char *> privateSlots(names.second.size() + 3, nullptr);
    int publicIndex = 1;
    int privateIndex = 2;
    DDS_Tag entry = {const_cast<char *>("x."), const_cast<char *>(row.name)};
    ASSERT_EQ(DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(
                  publicSlots.data(), privateSlots.data(), &publicIndex, &privateIndex, &entry),
              1);
    EXPECT_EQ(publicIndex, 1 + static_cast<int>(names.first.size()));
    EXPECT_EQ(privateIndex, 2 + static_cast<int>(names.second.size()));
    ASSERT_EQ(DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(
                  publicSlots.data(), privateSlots.data(), &publicIndex, &privateIndex),
              1);
    EXPECT_EQ(publicIndex, 2 + static_cast<int>(names.first.size()));
    EXPECT_EQ(privateIndex, 3 + static_cast<int>(names.second.size()));
    EXPECT_EQ(publicSlots[0], nullptr);
    expectTable(publicSlots.data() + 1, static_cast<int>(publicSlots.size()) - 1, names.first, "public");
    expectTable(privateSlots.data() + 2, static_cast<int>(privateSlots.size()) - 2, names.second, "private");
    for (char *slot : publicSlots) DDS_String_free(slot);
    for (char *slot : privateSlots) DDS_String_free(slot);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, NullArgumentsAreRefusedInTheirOrder)
{
    char **publicNames = nullptr;
    char **privateNames = nullptr;
    int publicCount = 1;
    int privateCount = 1;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    ScopedPolicy policy;
    char *slots[2] = {nullptr, nullptr};
    int index = 0;
    const DDS_EntityKind_t kind = DDS_PARTICIPANT_ENTITY_KIND;
    struct Case {
        int result;
        const char *test;
    };
    const Case cases[] = {
        {DDS_PropertyQosPolicy_populatePluginProperties(nullptr, nullptr, &publicCount, &privateCount,
                                                        nullptr, nullptr, kind),
         "validPublicProperties == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&publicNames, nullptr, &publicCount,
                                                        &privateCount, nullptr, nullptr, kind),
         "validPrivateProperties == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&publicNames, &privateNames, &publicCount,
                                                        &privateCount, nullptr, nullptr, kind),
         "omittedPrefixes == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&publicNames, &privateNames, &publicCount,
                                                        &privateCount, &omitted, nullptr, kind),
         "inputProperty == ((void *)0)"},
        {DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&publicCount, &privateCount, nullptr),
         "pluginName == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(nullptr, nullptr, &index, &index, nullptr),
         "validPublicProperties == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(slots, nullptr, &index, &index, nullptr),
         "validPrivateProperties == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(slots, slots, &index, &index, nullptr),
         "prefixPluginName == ((void *)0)"},
        {DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(nullptr, nullptr, &index, &index),
         "validPublicProperties == ((void *)0)"},
        {DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(slots, nullptr, &index, &index),
         "validPrivateProperties == ((void *)0)"},
    };
    ASSERT_EQ(log.size(), std::size(cases)) << log.dump();
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].result, 0) << cases[i].test;
        EXPECT_EQ(log.entries()[i].level, ZYN_LOG_LEVEL_PRECONDITION);
        EXPECT_EQ(log.entries()[i].args, (Names{"\"" + std::string(cases[i].test) + "\""})) << i;
    }
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
    // Nothing was touched on the way out.
    EXPECT_EQ(publicNames, nullptr);
    EXPECT_EQ(privateNames, nullptr);
    EXPECT_EQ(publicCount, 1);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(slots[0], nullptr);
}

TEST_F(PluginPropertyArraysTest, OverlongCreateFunctionFailsTheWholeBuild)
{
    const std::string tooLong(255, 'f');
    ScopedPolicy policy{{"dds.transport.load_plugins", "p"}, {"p.create_function", tooLong.c_str()}};
    Build build;
    EXPECT_EQ(build.run(&policy, DDS_PARTICIPANT_ENTITY_KIND), 0);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_COPY_FAILURE_s", {"createFunction"}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Names per load_plugin"}));
    EXPECT_EQ(build.publicNames, nullptr);
    EXPECT_EQ(build.privateNames, nullptr);
    EXPECT_EQ(build.publicCount, 1);
    EXPECT_EQ(build.privateCount, 1);
}

// After a failure at any allocation, what the caller gets back is a leading part of the complete
// result: names already written sit in their slots, every later slot is null, and the caller's
// freeing loop over the returned counts releases everything.
TEST_F(PluginPropertyArraysTest, AllocationFailureAnywhereLeavesArraysTheCallerCanFree)
{
    RichPolicy rich;
    const DDS_EntityKind_t kinds[] = {DDS_PARTICIPANT_ENTITY_KIND, DDS_DATAWRITER_ENTITY_KIND};
    for (DDS_EntityKind_t kind : kinds) {
        Names completePublic;
        Names completePrivate;
        Names completeOmitted;
        {
            Build build;
            ASSERT_EQ(build.run(&rich.policy, kind), 1);
            for (int i = 0; i < build.publicCount; ++i) completePublic.emplace_back(build.publicNames[i]);
            for (int i = 0; i < build.privateCount; ++i) completePrivate.emplace_back(build.privateNames[i]);
            completeOmitted = omittedOf(&build.omitted);
        }
        auto checkLeadingPart = [](char **array, const Names &complete, const char *what, long k) {
            bool gap = false;
            for (size_t i = 0; i < complete.size(); ++i) {
                if (array[i] == nullptr) {
                    gap = true;
                } else {
                    EXPECT_FALSE(gap) << what << ": slot " << i << " written after a null slot, k=" << k;
                    EXPECT_EQ(array[i], complete[i]) << what << " slot " << i << ", k=" << k;
                }
            }
        };
        std::vector<std::string> failureEntries;
        long points = sweepAllocationFailures([&](long k) {
            log.clear();
            Build build;
            int result;
            {
                FailAfter armed(k);
                result = build.run(&rich.policy, kind);
            }
            if (result == 1) {
                EXPECT_EQ(build.publicCount, static_cast<int>(completePublic.size()));
                checkLeadingPart(build.publicNames, completePublic, "public", k);
                EXPECT_NE(build.publicNames[completePublic.size() - 1], nullptr);
                return true;
            }
            EXPECT_GE(log.size(), 1u) << "k=" << k;
            for (const CapturedEntry &entry : log.entries()) {
                EXPECT_EQ(entry.level, ZYN_LOG_LEVEL_ERROR) << "k=" << k << "\n" << log.dump();
            }
            std::string last = log.entries().back().templateId;
            for (const std::string &arg : log.entries().back().args) {
                last += " " + arg;
            }
            failureEntries.push_back(last);
            // The counts are either untouched or complete; a missing public array means no
            // private one either.
            EXPECT_TRUE(build.publicCount == 1 || build.publicCount == static_cast<int>(completePublic.size()));
            if (build.publicNames == nullptr) {
                EXPECT_EQ(build.privateNames, nullptr) << "k=" << k;
            } else {
                EXPECT_EQ(build.publicCount, static_cast<int>(completePublic.size()));
                checkLeadingPart(build.publicNames, completePublic, "public", k);
            }
            if (build.privateNames != nullptr) {
                checkLeadingPart(build.privateNames, completePrivate, "private", k);
            }
            Names omitted = omittedOf(&build.omitted);
            if (!omitted.empty() && omitted.back() == "<null>") {
                omitted.pop_back();
            }
            EXPECT_LE(omitted.size(), completeOmitted.size());
            EXPECT_TRUE(std::equal(omitted.begin(), omitted.end(), completeOmitted.begin())) << "k=" << k;
            return false;   // ~Build is the caller's release, checked by the sweep
        });
        EXPECT_GT(points, static_cast<long>(completePublic.size())) << kind;
        // The failures reached every stage: the map, both arrays, the names and the terminators.
        auto seen = [&](const std::string &text) {
            return std::find(failureEntries.begin(), failureEntries.end(), text) != failureEntries.end();
        };
        EXPECT_TRUE(seen("ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd " + std::to_string(completePublic.size()) + " 8"));
        EXPECT_TRUE(seen("ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd " + std::to_string(completePrivate.size()) + " 8"));
        EXPECT_TRUE(seen("ZYN_LOG_ADD_FAILURE_s plugin properties"));
        EXPECT_TRUE(seen("ZYN_LOG_ADD_FAILURE_s Empty string at the end of arrays"));
        EXPECT_TRUE(seen("DDS_LOG_SET_FAILURE_s maximum prefixMap"));
        const std::vector<std::string> sources =
            kind == DDS_PARTICIPANT_ENTITY_KIND
                ? std::vector<std::string>{"Plugin Names per load_plugin", "Plugin Names per subtransport",
                                           "Builtin plugin properties", "Flow Controller properties"}
                : std::vector<std::string>{"Writer History properties"};
        for (const std::string &source : sources) {
            EXPECT_TRUE(seen("ZYN_LOG_ADD_FAILURE_s " + source)) << source;
        }
    }
}

}  // namespace
