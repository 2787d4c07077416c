// The valid plug-in property arrays: the names each entity kind gets, the counts the caller frees
// by, the per-entry helpers, and a failure at every allocation leaving arrays that the caller's
// own freeing loop releases.
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
using Entries = std::vector<std::pair<std::string, std::string>>;  // prefix, kind
using Names = std::vector<std::string>;

class PluginPropertyArraysTest : public ModuleTest {};

// The caller's release: every slot below the count, then the array.
void freeNameArray(char **array, int count)
{
    if (array == nullptr)
        return;
    for (int i = 0; i < count; ++i)
        DDS_String_free(array[i]);
    ZynOsapiHeap_freeArray(array);
}

// One call of the builder as its caller makes it, released as its caller does.
struct Build {
    char **pub = nullptr;
    char **priv = nullptr;
    int pubCount;
    int privCount;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    explicit Build(int extraSlots = 1) : pubCount(extraSlots), privCount(extraSlots) {}
    ~Build()
    {
        freeNameArray(pub, pubCount);
        freeNameArray(priv, privCount);
        DDS_StringSeq_finalize(&omitted);
    }
    int run(const DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind)
    {
        return DDS_PropertyQosPolicy_populatePluginProperties(&pub, &priv, &pubCount, &privCount,
                                                              &omitted, policy, kind);
    }
};

bool iContains(std::string haystack, std::string needle)
{
    for (std::string *s : {&haystack, &needle})
        std::transform(s->begin(), s->end(), s->begin(),
                       [](unsigned char c) { return char(std::tolower(c)); });
    return haystack.find(needle) != std::string::npos;
}

// The names the table gives a map: entries in order, matching rows in order, suffixes in order.
std::pair<Names, Names> expand(const Entries &map)
{
    std::pair<Names, Names> names;
    for (const auto &entry : map) {
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
            if (!iContains(entry.second, row.name))
                continue;
            for (int i = 0; i < row.publicPropertiesSize; ++i)
                names.first.push_back(entry.first + "." + row.publicProperties[i]);
            for (int i = 0; i < row.privatePropertiesSize; ++i)
                names.second.push_back(entry.first + "." + row.privateProperties[i]);
        }
    }
    return names;
}

// The participant's prefix map, from the sources themselves.
Entries participantMap(const DDS_PropertyQosPolicy *policy)
{
    DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    EXPECT_TRUE(
        DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, policy) &&
        DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&map, &omitted, policy) &&
        DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&map) &&
        DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&map, policy));
    Entries entries;
    for (DDS_Long i = 0; i < DDS_TagSeq_get_length(&map); ++i) {
        entries.emplace_back(DDS_TagSeq_get_reference(&map, i)->name,
                             DDS_TagSeq_get_reference(&map, i)->value);
    }
    DDS_TagSeq_finalize(&map);
    DDS_StringSeq_finalize(&omitted);
    return entries;
}

// A complete array: the names, "" in the next slot, null slots up to the count.
void expectTable(char **array, int count, const Names &names)
{
    ASSERT_NE(array, nullptr);
    ASSERT_GE(count, static_cast<int>(names.size()) + 1);
    for (size_t i = 0; i < names.size(); ++i) {
        ASSERT_NE(array[i], nullptr) << i;
        EXPECT_EQ(array[i], names[i]) << i;
    }
    EXPECT_STREQ(array[names.size()], "");
    for (int i = static_cast<int>(names.size()) + 1; i < count; ++i)
        EXPECT_EQ(array[i], nullptr) << i;
}

// One of everything: a nesting kind, a kind with private suffixes loaded twice, an unknown
// plug-in, a sub-transport, two flow controllers and a writer history.
struct RichPolicy {
    std::string first = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[0].prefix) + ".first";
    std::string secured;
    const PROPERTYPluginProperty *securedRow = nullptr;
    ScopedPolicy policy;
    RichPolicy()
    {
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
            if (row.privatePropertiesSize > 0 && securedRow == nullptr)
                securedRow = &row;
        secured = std::string(securedRow->prefix) + ".secured";
        const std::string bucket = "dds.flow_controller.token_bucket.";
        const std::pair<std::string, std::string> properties[] = {
            {"dds.transport.load_plugins", first + "," + secured + ",unknown.one," + secured},
            {first + ".subtransport", "shmem"},
            {bucket + "fast.scheduling", "x"},
            {bucket + "fast.bucket.period", "x"},
            {bucket + "slow.period", "x"},
            {"dds.data_writer.history.plugin_name", "my.history"}};
        for (const auto &p : properties)
            DDS_PropertyQosPolicyHelper_add_property(&policy, p.first.c_str(), p.second.c_str(),
                                                     DDS_BOOLEAN_FALSE);
    }
};

const Entries kBuiltins = {{"dds.transport.UDPv4.builtin", "UDPV4"},
                           {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
                           {"dds.transport.shmem.builtin", "SHMEM"},
                           {"dds.transport.UDPv6.builtin", "UDPV6"}};

TEST_F(PluginPropertyArraysTest, EachEntityKindGetsItsPluginsNamesInExactlyFullArrays)
{
    RichPolicy rich;
    ASSERT_FALSE(rich.secured.empty());
    for (DDS_EntityKind_t kind :
         {DDS_UNKNOWN_ENTITY_KIND, DDS_PUBLISHER_ENTITY_KIND, DDS_SUBSCRIBER_ENTITY_KIND,
          DDS_TOPIC_ENTITY_KIND, DDS_DATAREADER_ENTITY_KIND}) {
        Build b;  // no source runs: the terminators alone
        ASSERT_EQ(b.run(&rich.policy, kind), 1);
        EXPECT_EQ(b.pubCount, 1);
        EXPECT_EQ(b.privCount, 1);
        expectTable(b.pub, b.pubCount, {});
        expectTable(b.priv, b.privCount, {});
    }
    const ScopedPolicy plain{{"dds.unrelated", "1"}};
    const struct {
        const DDS_PropertyQosPolicy *policy;
        DDS_EntityKind_t kind;
        Entries map;
        Names omitted;
    } cases[] = {
        {&plain.policy, DDS_PARTICIPANT_ENTITY_KIND, kBuiltins, {}},
        {&rich.policy.policy,
         DDS_PARTICIPANT_ENTITY_KIND,
         participantMap(&rich.policy),
         {"unknown.one"}},
        {&rich.policy.policy, DDS_DATAWRITER_ENTITY_KIND, {{"my.history", "WRITER_HISTORY"}}, {}},
        {&plain.policy, DDS_DATAWRITER_ENTITY_KIND, {}, {}},
    };
    for (const auto &c : cases) {
        const std::pair<Names, Names> names = expand(c.map);
        for (int extra : {1, 3}) {  // slots asked for beyond the names stay null and count
            Build b(extra);
            ASSERT_EQ(b.run(c.policy, c.kind), 1);
            EXPECT_EQ(b.pubCount, static_cast<int>(names.first.size()) + extra);
            EXPECT_EQ(b.privCount, static_cast<int>(names.second.size()) + extra);
            expectTable(b.pub, b.pubCount, names.first);
            expectTable(b.priv, b.privCount, names.second);
            Names omitted;
            for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&b.omitted); ++i)
                omitted.emplace_back(DDS_StringSeq_get(&b.omitted, i));
            EXPECT_EQ(omitted, c.omitted);
        }
    }
    // The instance loaded twice gives each of its names twice.
    Build b;
    ASSERT_EQ(b.run(&rich.policy, DDS_PARTICIPANT_ENTITY_KIND), 1);
    EXPECT_EQ(std::count(b.priv, b.priv + b.privCount,
                         rich.secured + "." + rich.securedRow->privateProperties[0]),
              2);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, HelpersCountWriteAndClose)
{
    // Counting ignores letter case and adds to what the counts hold; a stranger adds nothing.
    const char *kind = PROPERTY_VALID_PLUGIN_PROPERTIES[0].name;
    const std::pair<Names, Names> names = expand({{"x.", kind}});
    std::string quiet = kind;
    std::transform(quiet.begin(), quiet.end(), quiet.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    int pub = 10, priv = 20;
    ASSERT_EQ(DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&pub, &priv, quiet.c_str()), 1);
    ASSERT_EQ(DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&pub, &priv, "NO_SUCH_KIND"), 1);
    EXPECT_EQ(pub, 10 + static_cast<int>(names.first.size()));
    EXPECT_EQ(priv, 20 + static_cast<int>(names.second.size()));

    // Writing starts at the indexes given; a prefix ending in "." keeps it.
    ASSERT_EQ(names.first.front().rfind("x..", 0), 0u);
    std::vector<char *> pubSlots(names.first.size() + 2), privSlots(names.second.size() + 3);
    int pubIndex = 1, privIndex = 2;
    DDS_Tag entry = {const_cast<char *>("x."), const_cast<char *>(kind)};
    ASSERT_EQ(DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(
                  pubSlots.data(), privSlots.data(), &pubIndex, &privIndex, &entry),
              1);
    ASSERT_EQ(DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(
                  pubSlots.data(), privSlots.data(), &pubIndex, &privIndex),
              1);
    EXPECT_EQ(pubIndex, static_cast<int>(pubSlots.size()));
    EXPECT_EQ(privIndex, static_cast<int>(privSlots.size()));
    EXPECT_EQ(pubSlots[0], nullptr);
    expectTable(pubSlots.data() + 1, static_cast<int>(pubSlots.size()) - 1, names.first);
    expectTable(privSlots.data() + 2, static_cast<int>(privSlots.size()) - 2, names.second);
    for (char *s : pubSlots)
        DDS_String_free(s);
    for (char *s : privSlots)
        DDS_String_free(s);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, NullArgumentsAndAnOverlongCreateFunction)
{
    char **a = nullptr;
    int n = 1;
    char *slots[1] = {nullptr};
    DDS_StringSeq om = DDS_SEQUENCE_INITIALIZER;
    const DDS_EntityKind_t k = DDS_PARTICIPANT_ENTITY_KIND;
    const std::pair<int, const char *> cases[] = {
        {DDS_PropertyQosPolicy_populatePluginProperties(nullptr, nullptr, &n, &n, nullptr, nullptr,
                                                        k),
         "validPublicProperties"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&a, nullptr, &n, &n, nullptr, nullptr, k),
         "validPrivateProperties"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&a, &a, &n, &n, nullptr, nullptr, k),
         "omittedPrefixes"},
        {DDS_PropertyQosPolicy_populatePluginProperties(&a, &a, &n, &n, &om, nullptr, k),
         "inputProperty"},
        {DDS_PropertyQosPolicy_getValidPluginPropertiesSize(&n, &n, nullptr), "pluginName"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(nullptr, nullptr, &n, &n,
                                                                      nullptr),
         "validPublicProperties"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(slots, nullptr, &n, &n,
                                                                      nullptr),
         "validPrivateProperties"},
        {DDS_PropertyQosPolicy_populateValidPluginPropertiesPerPlugin(slots, slots, &n, &n,
                                                                      nullptr),
         "prefixPluginName"},
        {DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(nullptr, nullptr, &n, &n),
         "validPublicProperties"},
        {DDS_PropertyQosPolicy_addEndOfValidPluginPropertiesArray(slots, nullptr, &n, &n),
         "validPrivateProperties"},
    };
    ASSERT_EQ(log.size(), std::size(cases)) << log.dump();
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].first, 0) << i;
        EXPECT_EQ(log.entries()[i].args,
                  (Names{"\"" + std::string(cases[i].second) + " == ((void *)0)\""}))
            << i;
    }
    EXPECT_TRUE(a == nullptr && n == 1 && slots[0] == nullptr);

    // A create function longer than the buffer fails the build before anything is allocated.
    log.clear();
    const std::string tooLong(255, 'f');
    ScopedPolicy policy{{"dds.transport.load_plugins", "p"},
                        {"p.create_function", tooLong.c_str()}};
    Build b;
    EXPECT_EQ(b.run(&policy, k), 0);
    EXPECT_TRUE(log.contains(2, "DDS_LOG_COPY_FAILURE_s", {"createFunction"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Names per load_plugin"}));
    EXPECT_TRUE(b.pub == nullptr && b.priv == nullptr && b.pubCount == 1 && b.privCount == 1);
}

// After a failure at any allocation the caller gets a leading part of the complete result: names
// already written in their slots, every later slot null, counts it can free by.
TEST_F(PluginPropertyArraysTest, AllocationFailureAnywhereLeavesArraysTheCallerCanFree)
{
    RichPolicy rich;
    for (DDS_EntityKind_t kind : {DDS_PARTICIPANT_ENTITY_KIND, DDS_DATAWRITER_ENTITY_KIND}) {
        Names pubAll, privAll;
        {
            Build b;
            ASSERT_EQ(b.run(&rich.policy, kind), 1);
            pubAll.assign(b.pub, b.pub + b.pubCount);
            privAll.assign(b.priv, b.priv + b.privCount);
        }
        auto leadingPart = [](char **array, const Names &all) {
            size_t i = 0;
            while (i < all.size() && array[i] != nullptr && all[i] == array[i])
                ++i;
            while (i < all.size() && array[i] == nullptr)
                ++i;
            return i == all.size();
        };
        Names lastEntries;
        sweepAllocationFailures([&](long k) {
            log.clear();
            Build b;
            int result;
            {
                FailAfter armed(k);
                result = b.run(&rich.policy, kind);
            }
            if (result == 1)
                return true;
            EXPECT_GE(log.size(), 1u);
            for (const CapturedEntry &e : log.entries())
                EXPECT_EQ(e.level, 2) << "k=" << k << "\n" << log.dump();
            std::string last = log.entries().back().templateId;
            for (const std::string &arg : log.entries().back().args)
                last += " " + arg;
            lastEntries.push_back(last);
            // Counts untouched or complete; no public array means no private one either.
            EXPECT_TRUE(b.pubCount == 1 || b.pubCount == static_cast<int>(pubAll.size())) << k;
            EXPECT_TRUE(b.pub != nullptr || b.priv == nullptr) << k;
            EXPECT_TRUE(b.pub == nullptr || leadingPart(b.pub, pubAll)) << k;
            EXPECT_TRUE(b.priv == nullptr || leadingPart(b.priv, privAll)) << k;
            return false;  // ~Build is the caller's release; the sweep checks it
        });
        // The failures reached every stage of the build.
        Names stages = {
            "DDS_LOG_SET_FAILURE_s maximum prefixMap",
            "ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd " + std::to_string(pubAll.size()) + " 8",
            "ZYN_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd " + std::to_string(privAll.size()) + " 8",
            "ZYN_LOG_ADD_FAILURE_s plugin properties",
            "ZYN_LOG_ADD_FAILURE_s Empty string at the end of arrays"};
        const Names sources =
            kind == DDS_PARTICIPANT_ENTITY_KIND
                ? Names{"Plugin Names per load_plugin", "Plugin Names per subtransport",
                        "Builtin plugin properties", "Flow Controller properties"}
                : Names{"Writer History properties"};
        for (const std::string &s : sources)
            stages.push_back("ZYN_LOG_ADD_FAILURE_s " + s);
        for (const std::string &s : stages)
            EXPECT_NE(std::find(lastEntries.begin(), lastEntries.end(), s), lastEntries.end()) << s;
    }
}

}  // namespace
