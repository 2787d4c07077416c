// The plug-in prefix map: classification by name and by create function, the load lists, the
// sub-transports, the built-in transports, the flow controllers, the writer history, the long
// names that leave the fixed buffers, and running out of memory anywhere on the way.
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

const std::string kTokenBucket = "dds.flow_controller.token_bucket.";

class PluginPrefixMapTest : public ModuleTest {};

struct ScopedTagSeq {
    DDS_TagSeq seq = DDS_SEQUENCE_INITIALIZER;
    ~ScopedTagSeq() { DDS_TagSeq_finalize(&seq); }
    DDS_TagSeq *get() { return &seq; }
};

struct ScopedStringSeq {
    DDS_StringSeq seq = DDS_SEQUENCE_INITIALIZER;
    ~ScopedStringSeq() { DDS_StringSeq_finalize(&seq); }
    DDS_StringSeq *get() { return &seq; }
};

Entries entriesOf(const DDS_TagSeq *map)
{
    Entries out;
    for (DDS_Long i = 0; i < DDS_TagSeq_get_length(map); ++i) {
        const DDS_Tag *tag = DDS_TagSeq_get_reference(map, i);
        out.emplace_back(tag->name != nullptr ? tag->name : "<null>",
                         tag->value != nullptr ? tag->value : "<null>");
    }
    return out;
}

// Elements of the omitted prefixes; a null element (left by a failed append) reads "<null>".
Names namesOf(const DDS_StringSeq *seq)
{
    Names out;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(seq); ++i) {
        const char *name = DDS_StringSeq_get(seq, i);
        out.emplace_back(name != nullptr ? name : "<null>");
    }
    return out;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool iContains(const std::string &haystack, const std::string &needle)
{
    return lower(haystack).find(lower(needle)) != std::string::npos;
}

// The kind that the table gives an instance recognised by its name alone: the first row whose
// prefix occurs in it. Empty when none does.
std::string kindByName(const std::string &name)
{
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        if (iContains(name, row.prefix)) {
            return row.name;
        }
    }
    return "";
}

// A name that holds no row's prefix, so that only a create function can classify it.
const char *kUnknownPlugin = "acme_custom_plugin";

// Runs the participant's sources in their order on one map.
bool participantSources(DDS_TagSeq *map, DDS_StringSeq *omitted, const DDS_PropertyQosPolicy *policy)
{
    return DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map, omitted, policy) &&
           DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(map, omitted, policy) &&
           DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(map) &&
           DDS_PropertyQosPolicy_populateFlowControllerPrefixes(map, policy);
}

const Entries kBuiltins = {
    {"dds.transport.UDPv4.builtin", "UDPV4"},
    {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
    {"dds.transport.shmem.builtin", "SHMEM"},
    {"dds.transport.UDPv6.builtin", "UDPV6"},
};

TEST_F(PluginPrefixMapTest, PolicyWithoutPluginsGivesOnlyTheBuiltinTransports)
{
    ScopedPolicy policy{{"dds.some.other", "1"}, {"dds.transport.load_plugins.x", "no"}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ASSERT_TRUE(participantSources(map.get(), omitted.get(), &policy));
    EXPECT_EQ(entriesOf(map.get()), kBuiltins);
    EXPECT_TRUE(namesOf(omitted.get()).empty());
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The built-ins are appended after whatever the map holds, even a copy of themselves.
    ASSERT_EQ(DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(map.get()), 1);
    Entries twice = kBuiltins;
    twice.insert(twice.end(), kBuiltins.begin(), kBuiltins.end());
    EXPECT_EQ(entriesOf(map.get()), twice);
}

TEST_F(PluginPrefixMapTest, CreateFunctionClassifiesAnUnrecognisedName)
{
    ASSERT_EQ(kindByName(kUnknownPlugin), "");
    const std::string createProperty = std::string(kUnknownPlugin) + ".create_function";

    // Each row's create function gives that row's kind, exactly.
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        ScopedPolicy policy{{"dds.transport.load_plugins", kUnknownPlugin},
                            {createProperty.c_str(), row.createFunction}};
        ScopedTagSeq map;
        ScopedStringSeq omitted;
        ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(),
                                                                              &policy),
                  1);
        EXPECT_EQ(entriesOf(map.get()), (Entries{{kUnknownPlugin, row.name}})) << row.name;
        EXPECT_TRUE(namesOf(omitted.get()).empty());
    }

    // Letter case counts in a create function: a near miss is an unknown plug-in.
    std::string shouted = lower(PROPERTY_VALID_PLUGIN_PROPERTIES[0].createFunction);
    ASSERT_NE(shouted, PROPERTY_VALID_PLUGIN_PROPERTIES[0].createFunction);
    ScopedPolicy policy{{"dds.transport.load_plugins", kUnknownPlugin},
                        {createProperty.c_str(), shouted.c_str()}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(),
                                                                          &policy),
              1);
    EXPECT_TRUE(entriesOf(map.get()).empty());
    EXPECT_EQ(namesOf(omitted.get()), (Names{kUnknownPlugin}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, UnknownPluginsBecomeOmittedPrefixesEveryTimeTheyAreLoaded)
{
    ScopedPolicy policy{{"dds.transport.load_plugins", "mine.one, mine.two,,mine.one"}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(),
                                                                          &policy),
              1);
    EXPECT_TRUE(entriesOf(map.get()).empty());
    EXPECT_EQ(namesOf(omitted.get()), (Names{"mine.one", "mine.two", "mine.one"}));
    // Each append grows the sequence by exactly one element.
    EXPECT_EQ(DDS_StringSeq_get_maximum(omitted.get()), 3);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, LoadListsAreReadInTheirFixedOrder)
{
    // Names built from the table's own prefixes, plus one unknown; kinds follow the table.
    const PROPERTYPluginProperty *rows = PROPERTY_VALID_PLUGIN_PROPERTIES;
    const std::string a = std::string(rows[1].prefix) + ".a";
    const std::string b = std::string(rows[3].prefix) + ".b";
    const std::string c = std::string(rows[7].prefix) + ".c";
    const std::string d = std::string(rows[10].prefix) + ".d";
    const std::string e = "unknown.e";
    const std::string ab = a + "," + b;
    // Added in the reverse of the reading order: the property order must not matter.
    ScopedPolicy policy{{"com.zyn.serv.load_plugin", d.c_str()},
                        {"dds.discovery.participant.load_plugins", c.c_str()},
                        {"dds.discovery.endpoint.load_plugins", e.c_str()},
                        {"dds.transport.load_plugins", ab.c_str()}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(),
                                                                          &policy),
              1);
    EXPECT_EQ(entriesOf(map.get()),
              (Entries{{a, kindByName(a)}, {b, kindByName(b)}, {c, kindByName(c)}, {d, kindByName(d)}}));
    for (const Entry &entry : entriesOf(map.get())) {
        EXPECT_NE(entry.second, "") << entry.first;
    }
    EXPECT_EQ(namesOf(omitted.get()), (Names{e}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, SubtransportsAreFollowedThroughEveryRecognisedInstance)
{
    // A transport row whose prefix lies under "dds.transport.": its remainder names it as a
    // sub-transport.
    const std::string transport = "dds.transport.";
    const PROPERTYPluginProperty *subRow = nullptr;
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        if (std::string(row.prefix).rfind(transport, 0) == 0) {
            subRow = &row;
        }
    }
    ASSERT_NE(subRow, nullptr);
    const std::string subName = std::string(subRow->prefix).substr(transport.size());

    const std::string outer = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[0].prefix) + ".outer";
    const std::string inner = outer + "." + subName;
    const std::string innermost = inner + ".lost";
    const std::string outerSub = outer + ".subtransport";
    const std::string innerSub = inner + ".subtransport";
    const std::string loadList = outer + ",unknown.x";
    ScopedPolicy policy{{"dds.transport.load_plugins", loadList.c_str()},
                        {outerSub.c_str(), subName.c_str()},
                        {innerSub.c_str(), "lost"},
                        {"unknown.x.subtransport", "shmem"},
                        {"dds.transport.UDPv4.builtin.subtransport", "shmem"}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ASSERT_TRUE(participantSources(map.get(), omitted.get(), &policy));

    Entries expected{{outer, kindByName(outer)}, {inner, kindByName(transport + subName)}};
    ASSERT_NE(expected[1].second, "");
    expected.insert(expected.end(), kBuiltins.begin(), kBuiltins.end());
    EXPECT_EQ(entriesOf(map.get()), expected);
    // The sub-transport of the sub-transport is unknown; an omitted plug-in's sub-transport and
    // the built-ins' (they come later) are not followed.
    EXPECT_EQ(namesOf(omitted.get()), (Names{"unknown.x", innermost}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // An entry whose kind matches no row is not followed.
    ScopedTagSeq foreign;
    ASSERT_EQ(DDS_TagSeq_add_element(foreign.get(), nullptr, outer.c_str(), "NO_SUCH_KIND"), DDS_RETCODE_OK);
    ScopedStringSeq none;
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(foreign.get(), none.get(), &policy), 1);
    EXPECT_EQ(entriesOf(foreign.get()), (Entries{{outer, "NO_SUCH_KIND"}}));
    EXPECT_TRUE(namesOf(none.get()).empty());
}

TEST_F(PluginPrefixMapTest, FlowControllersAreRecordedOncePerNameAndSpelling)
{
    const std::string fc1 = kTokenBucket + "fc1";
    const std::string fc2 = kTokenBucket + "fc2";
    const std::string shouted = "DDS.FLOW_CONTROLLER.TOKEN_BUCKET.fc3";
    const std::string quiet = kTokenBucket + "fc3";
    const std::string names[] = {fc1 + ".scheduling", fc1 + ".bucket.period", "dds.other.setting",
                                 fc1 + ".bucket.max_tokens", fc2 + ".scheduling",
                                 shouted + ".scheduling", quiet + ".bucket.period"};
    ScopedPolicy policy;
    for (const std::string &name : names) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), "v", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }

    // An entry of another source with fc1's prefix is no reason to leave fc1 out.
    ScopedTagSeq map;
    ASSERT_EQ(DDS_TagSeq_add_element(map.get(), nullptr, fc1.c_str(), "OTHER"), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(map.get(), &policy), 1);
    EXPECT_EQ(entriesOf(map.get()), (Entries{{fc1, "OTHER"},
                                             {fc1, "FLOW_CONTROLLER"},
                                             {fc2, "FLOW_CONTROLLER"},
                                             {shouted, "FLOW_CONTROLLER"},
                                             {quiet, "FLOW_CONTROLLER"}}));
    // Sized once: what the map held plus every flow-controller property.
    EXPECT_EQ(DDS_TagSeq_get_maximum(map.get()), 1 + 6);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, FlowControllerNameWithoutSettingEndsTheScan)
{
    const std::string fc1 = kTokenBucket + "fc1";
    const std::string bare = kTokenBucket + "fc9";
    const std::string later = kTokenBucket + "fc2.scheduling";
    const std::string first = fc1 + ".scheduling";
    ScopedPolicy policy{{first.c_str(), "x"}, {bare.c_str(), "x"}, {later.c_str(), "x"}};
    ScopedTagSeq map;
    ASSERT_EQ(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(map.get(), &policy), 1);
    EXPECT_EQ(entriesOf(map.get()), (Entries{{fc1, "FLOW_CONTROLLER"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, WriterHistoryNamesItsOwnPrefix)
{
    ScopedTagSeq map;
    ScopedPolicy without{{"dds.data_writer.history.other", "x"}};
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(map.get(), &without), 1);
    EXPECT_TRUE(entriesOf(map.get()).empty());

    ScopedPolicy with{{"dds.data_writer.history.plugin_name", "my.history"}};
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(map.get(), &with), 1);
    EXPECT_EQ(entriesOf(map.get()), (Entries{{"my.history", "WRITER_HISTORY"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, CreateFunctionIsReadIntoTheCallersBuffer)
{
    char buffer[255];
    std::fill(std::begin(buffer), std::end(buffer), 'x');
    ScopedPolicy empty;
    ASSERT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &empty, "p"), 1);
    EXPECT_TRUE(std::all_of(std::begin(buffer), std::end(buffer), [](char c) { return c == '\0'; }));

    const std::string longest(254, 'f');
    ScopedPolicy fits{{"p.create_function", longest.c_str()}};
    ASSERT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &fits, "p"), 1);
    EXPECT_EQ(std::string(buffer), longest);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    const std::string tooLong(255, 'f');
    ScopedPolicy overflows{{"p.create_function", tooLong.c_str()}};
    EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &overflows, "p"), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_COPY_FAILURE_s", {"createFunction"});

    // Such a create function stops the whole load list.
    log.clear();
    ScopedPolicy loaded{{"dds.transport.load_plugins", "p"}, {"p.create_function", tooLong.c_str()}};
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    EXPECT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(), &loaded), 0);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_s", {"Create_function property"}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Name"}));
    EXPECT_TRUE(entriesOf(map.get()).empty());
    EXPECT_TRUE(namesOf(omitted.get()).empty());
}

// Names of exactly 1024 characters stay in the fixed buffer, longer ones go to the heap: with
// allocation failing from the start, only the longer ones report the shortage.
TEST_F(PluginPrefixMapTest, NamesBeyondTheFixedBufferUseTheHeap)
{
    char buffer[255];
    const std::string atLimit(1024 - 16, 'p');
    const std::string overLimit(1024 - 16 + 1, 'p');
    const std::string createValue = "ZynSomething_create";
    ScopedPolicy policy{{(atLimit + ".create_function").c_str(), createValue.c_str()},
                        {(overLimit + ".create_function").c_str(), createValue.c_str()}};
    {
        FailAfter none(0);
        EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, atLimit.c_str()), 1);
        EXPECT_EQ(std::string(buffer), createValue);
        EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, overLimit.c_str()), 0);
    }
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"propertyNamePtr"});
    log.clear();
    ASSERT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, overLimit.c_str()), 1);
    EXPECT_EQ(std::string(buffer), createValue);

    // Writer history: a 1024-character name reaches the append, a longer one does not.
    const std::string history1024(1024, 'h');
    const std::string history1025(1025, 'h');
    ScopedPolicy h1024{{"dds.data_writer.history.plugin_name", history1024.c_str()}};
    ScopedPolicy h1025{{"dds.data_writer.history.plugin_name", history1025.c_str()}};
    ScopedTagSeq map;
    log.clear();
    {
        FailAfter none(0);
        EXPECT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(map.get(), &h1024), 0);
    }
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_ADD_FAILURE_s", {history1024});
    log.clear();
    {
        FailAfter none(0);
        EXPECT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(map.get(), &h1025), 0);
    }
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"pluginNamePtr"});
    log.clear();
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(map.get(), &h1025), 1);
    EXPECT_EQ(entriesOf(map.get()), (Entries{{history1025, "WRITER_HISTORY"}}));

    // Flow controller: a prefix just over 1024 characters.
    const std::string longController = kTokenBucket + std::string(1024 - kTokenBucket.size() + 1, 'c');
    const std::string controllerSetting = longController + ".scheduling";
    ScopedPolicy flow{{controllerSetting.c_str(), "x"}};
    ScopedTagSeq flowMap;
    ASSERT_EQ(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(flowMap.get(), &flow), 1);
    EXPECT_EQ(entriesOf(flowMap.get()), (Entries{{longController, "FLOW_CONTROLLER"}}));

    // Sub-transport: a long recognised prefix and a long sub-transport name.
    const std::string longOuter = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[0].prefix) + "." +
                                  std::string(1100, 'o');
    const std::string longSub(1100, 's');
    ScopedPolicy chained{{"dds.transport.load_plugins", longOuter.c_str()},
                         {(longOuter + ".subtransport").c_str(), longSub.c_str()}};
    ScopedTagSeq chainMap;
    ScopedStringSeq omitted;
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(chainMap.get(), omitted.get(), &chained), 1);
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(chainMap.get(), omitted.get(), &chained), 1);
    EXPECT_EQ(entriesOf(chainMap.get()), (Entries{{longOuter, kindByName(longOuter)}}));
    EXPECT_EQ(namesOf(omitted.get()), (Names{longOuter + "." + longSub}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, NullArgumentsAreRefusedInTheirOrder)
{
    ScopedTagSeq map;
    ScopedStringSeq omitted;
    ScopedPolicy policy;
    char buffer[255];
    struct Case {
        int result;
        const char *test;
    };
    const Case cases[] = {
        {DDS_PropertyQosPolicy_getPluginCreateFunction(nullptr, nullptr, nullptr), "createFunction == ((void *)0)"},
        {DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, nullptr, nullptr), "inputProperty == ((void *)0)"},
        {DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, nullptr), "pluginName == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(nullptr, nullptr, nullptr, "p", "p"),
         "prefixMap == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(map.get(), nullptr, nullptr, "p", "p"),
         "omittedPrefixes == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(map.get(), omitted.get(), nullptr, "p", "p"),
         "inputProperty == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(nullptr, nullptr, nullptr),
         "prefixMap == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), nullptr, nullptr),
         "omittedPrefixes == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(map.get(), omitted.get(), nullptr),
         "inputProperty == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(nullptr, nullptr, nullptr),
         "prefixMap == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(map.get(), nullptr, nullptr),
         "omittedPrefixes == ((void *)0)"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(map.get(), omitted.get(), nullptr),
         "inputProperty == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(nullptr), "prefixMap == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateFlowControllerPrefixes(nullptr, nullptr), "prefixMap == ((void *)0)"},
        {DDS_PropertyQosPolicy_populateFlowControllerPrefixes(map.get(), nullptr), "inputProperty == ((void *)0)"},
    };
    ASSERT_EQ(log.size(), std::size(cases)) << log.dump();
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].result, 0) << cases[i].test;
        EXPECT_EQ(log.entries()[i].level, ZYN_LOG_LEVEL_PRECONDITION);
        EXPECT_EQ(log.entries()[i].args, (Names{"\"" + std::string(cases[i].test) + "\""})) << i;
    }
    EXPECT_EQ(ZynLog_g_preconditionDetected, 1);

    // A null prefix is left to the create-function reader, whose refusal fails the classification.
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_populateTransportPluginPrefixes(map.get(), omitted.get(), &policy,
                                                                    nullptr, "dds.transport.UDPv4"),
              0);
    ASSERT_EQ(log.size(), 2u) << log.dump();
    expectPrecondition("pluginName == ((void *)0)");
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_s", {"Create_function property"}));
    EXPECT_TRUE(entriesOf(map.get()).empty());
}

// A failure at any allocation ends the sources with an error entry and keeps what they had
// appended: the map and the omitted prefixes are then a leading part of the complete ones.
TEST_F(PluginPrefixMapTest, AllocationFailureAnywhereKeepsWhatWasAppended)
{
    const std::string outer = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[1].prefix) + ".outer";
    const std::string longOuter = std::string(PROPERTY_VALID_PLUGIN_PROPERTIES[2].prefix) + "." +
                                  std::string(1100, 'l');
    const std::string loadList = outer + ",unknown.one," + longOuter;
    const std::string fc1 = kTokenBucket + "fc1.scheduling";
    const std::string fcLong = kTokenBucket + std::string(1100, 'c') + ".period";
    ScopedPolicy policy{{"dds.transport.load_plugins", loadList.c_str()},
                        {"com.zyn.serv.load_plugin", "unknown.two"},
                        {(outer + ".subtransport").c_str(), "shmem"},
                        {(longOuter + ".subtransport").c_str(), std::string(1100, 's').c_str()},
                        {(outer + ".shmem.subtransport").c_str(), "unknown.three"},
                        {fc1.c_str(), "x"},
                        {fcLong.c_str(), "x"}};

    Entries complete;
    Names completeOmitted;
    {
        ScopedTagSeq map;
        ScopedStringSeq omitted;
        ASSERT_TRUE(participantSources(map.get(), omitted.get(), &policy));
        complete = entriesOf(map.get());
        completeOmitted = namesOf(omitted.get());
    }
    ASSERT_EQ(complete.size(), 3u + 4u + 2u) << log.dump();
    ASSERT_EQ(completeOmitted.size(), 4u);

    long points = sweepAllocationFailures([&](long k) {
        log.clear();
        ScopedTagSeq map;
        ScopedStringSeq omitted;
        bool ok;
        {
            FailAfter armed(k);
            ok = participantSources(map.get(), omitted.get(), &policy);
        }
        Entries got = entriesOf(map.get());
        Names gotOmitted = namesOf(omitted.get());
        if (ok) {
            EXPECT_EQ(got, complete);
            EXPECT_EQ(gotOmitted, completeOmitted);
            return true;
        }
        EXPECT_GE(log.size(), 1u) << "k=" << k;
        for (const CapturedEntry &entry : log.entries()) {
            EXPECT_EQ(entry.level, ZYN_LOG_LEVEL_ERROR) << "k=" << k << "\n" << log.dump();
        }
        EXPECT_LE(got.size(), complete.size());
        EXPECT_TRUE(std::equal(got.begin(), got.end(), complete.begin())) << "k=" << k;
        // An omitted slot that was made but not filled may trail as a null element.
        if (!gotOmitted.empty() && gotOmitted.back() == "<null>") {
            gotOmitted.pop_back();
        }
        EXPECT_LE(gotOmitted.size(), completeOmitted.size());
        EXPECT_TRUE(std::equal(gotOmitted.begin(), gotOmitted.end(), completeOmitted.begin())) << "k=" << k;
        return false;
    });
    EXPECT_GT(points, 10);
}

}  // namespace
