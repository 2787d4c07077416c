// The plug-in prefix map: classification by name and create function, load order,
// sub-transports, flow controllers, writer history, names beyond the fixed buffers, and running
// out of memory anywhere on the way.
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

const std::string kBucket = "dds.flow_controller.token_bucket.";
const Entries kBuiltins = {{"dds.transport.UDPv4.builtin", "UDPV4"},
                           {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
                           {"dds.transport.shmem.builtin", "SHMEM"},
                           {"dds.transport.UDPv6.builtin", "UDPV6"}};
const PROPERTYPluginProperty *const kRows = PROPERTY_VALID_PLUGIN_PROPERTIES;

class PluginPrefixMapTest : public ModuleTest {};

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

// The kind the table gives a name: the first row whose prefix occurs in it, case ignored.
std::string kindByName(const std::string &name)
{
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        if (lower(name).find(lower(row.prefix)) != std::string::npos)
            return row.name;
    }
    return "";
}

// A map and omitted prefixes owned by the test, with readers.
struct Map {
    DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    ~Map()
    {
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&omitted);
    }
    // The participant's sources, in their order.
    bool participant(const DDS_PropertyQosPolicy *p)
    {
        return DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, p) &&
               DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&map, &omitted, p) &&
               DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&map) &&
               DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&map, p);
    }
    bool loaded(const DDS_PropertyQosPolicy *p)
    {
        return DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, p);
    }
    Entries entries() const
    {
        Entries out;
        for (DDS_Long i = 0; i < DDS_TagSeq_get_length(&map); ++i) {
            const DDS_Tag *t = DDS_TagSeq_get_reference(&map, i);
            out.emplace_back(t->name, t->value);
        }
        return out;
    }
    Names omittedNames() const  // a slot made but never filled reads "<null>"
    {
        Names out;
        for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&omitted); ++i) {
            const char *s = DDS_StringSeq_get(&omitted, i);
            out.emplace_back(s != nullptr ? s : "<null>");
        }
        return out;
    }
};

TEST_F(PluginPrefixMapTest, ClassificationByNameCreateFunctionAndLoadOrder)
{
    {  // Nothing configured: the built-in transports alone.
        ScopedPolicy policy{{"dds.unrelated", "1"}};
        Map m;
        ASSERT_TRUE(m.participant(&policy));
        EXPECT_EQ(m.entries(), kBuiltins);
        EXPECT_TRUE(m.omittedNames().empty());
    }
    // A name holding no row's prefix takes the kind of the row whose create function it names.
    const std::string createProperty = "acme_plugin.create_function";
    ASSERT_EQ(kindByName("acme_plugin"), "");
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        ScopedPolicy policy{{"dds.transport.load_plugins", "acme_plugin"},
                            {createProperty.c_str(), row.createFunction}};
        Map m;
        ASSERT_TRUE(m.loaded(&policy));
        EXPECT_EQ(m.entries(), (Entries{{"acme_plugin", row.name}}));
    }
    {  // ... letter case counting; unknown plug-ins are omitted every time they are loaded.
        const std::string near = lower(kRows[0].createFunction);
        ScopedPolicy policy{{"dds.transport.load_plugins", "acme_plugin, other,,acme_plugin"},
                            {createProperty.c_str(), near.c_str()}};
        Map m;
        ASSERT_TRUE(m.loaded(&policy));
        EXPECT_TRUE(m.entries().empty());
        EXPECT_EQ(m.omittedNames(), (Names{"acme_plugin", "other", "acme_plugin"}));
        EXPECT_EQ(DDS_StringSeq_get_maximum(&m.omitted), 3);  // grown one element at a time
    }
    {  // The lists are read in a fixed order, whatever the order of the properties.
        const std::string a = std::string(kRows[1].prefix) + ".a",
                          b = std::string(kRows[3].prefix) + ".b";
        const std::string c = std::string(kRows[7].prefix) + ".c",
                          d = std::string(kRows[10].prefix) + ".d";
        ScopedPolicy policy{{"com.zyn.serv.load_plugin", d.c_str()},
                            {"dds.discovery.participant.load_plugins", c.c_str()},
                            {"dds.discovery.endpoint.load_plugins", "unknown.e"},
                            {"dds.transport.load_plugins", (a + "," + b).c_str()}};
        Map m;
        ASSERT_TRUE(m.loaded(&policy));
        EXPECT_EQ(
            m.entries(),
            (Entries{
                {a, kindByName(a)}, {b, kindByName(b)}, {c, kindByName(c)}, {d, kindByName(d)}}));
        EXPECT_EQ(m.omittedNames(), (Names{"unknown.e"}));
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, SubtransportsAreFollowedThroughRecognisedInstances)
{
    const std::string transport = "dds.transport.";
    std::string sub;  // a transport row's prefix, after "dds.transport."
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        if (std::string(row.prefix).rfind(transport, 0) == 0)
            sub = std::string(row.prefix).substr(transport.size());
    }
    ASSERT_FALSE(sub.empty());
    const std::string outer = std::string(kRows[0].prefix) + ".outer", inner = outer + "." + sub;
    ScopedPolicy policy{{"dds.transport.load_plugins", (outer + ",unknown.x").c_str()},
                        {(outer + ".subtransport").c_str(), sub.c_str()},
                        {(inner + ".subtransport").c_str(), "lost"},
                        {"unknown.x.subtransport", "shmem"},
                        {"dds.transport.UDPv4.builtin.subtransport", "shmem"}};
    Map m;
    ASSERT_TRUE(m.participant(&policy));
    Entries expected{{outer, kindByName(outer)}, {inner, kindByName(transport + sub)}};
    expected.insert(expected.end(), kBuiltins.begin(), kBuiltins.end());
    EXPECT_EQ(m.entries(), expected);
    // The sub-transport's own sub-transport is unknown; omitted and built-in instances (added
    // later) are not followed.
    EXPECT_EQ(m.omittedNames(), (Names{"unknown.x", inner + ".lost"}));

    // A kind that matches no row is not followed either.
    Map foreign;
    ASSERT_EQ(DDS_TagSeq_add_element(&foreign.map, nullptr, outer.c_str(), "NO_SUCH_KIND"),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(
                  &foreign.map, &foreign.omitted, &policy),
              1);
    EXPECT_EQ(foreign.entries().size(), 1u);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, FlowControllersAndWriterHistory)
{
    const std::string fc1 = kBucket + "fc1", loud = "DDS.FLOW_CONTROLLER.TOKEN_BUCKET.fc3",
                      quiet = kBucket + "fc3";
    ScopedPolicy policy{{(fc1 + ".scheduling").c_str(), "x"},
                        {(fc1 + ".bucket.period").c_str(), "x"},
                        {"dds.other", "x"},
                        {(kBucket + "fc2.scheduling").c_str(), "x"},
                        {(loud + ".scheduling").c_str(), "x"},
                        {(quiet + ".period").c_str(), "x"},
                        {(kBucket + "bare").c_str(), "x"},
                        {(kBucket + "late.scheduling").c_str(), "x"}};
    // Another source's entry with fc1's prefix does not count as fc1 recorded.
    Map m;
    ASSERT_EQ(DDS_TagSeq_add_element(&m.map, nullptr, fc1.c_str(), "OTHER"), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&m.map, &policy), 1);
    // A controller name with no setting after it ends the scan: "late" is never reached.
    EXPECT_EQ(m.entries(), (Entries{{fc1, "OTHER"},
                                    {fc1, "FLOW_CONTROLLER"},
                                    {kBucket + "fc2", "FLOW_CONTROLLER"},
                                    {loud, "FLOW_CONTROLLER"},
                                    {quiet, "FLOW_CONTROLLER"}}));
    EXPECT_EQ(DDS_TagSeq_get_maximum(&m.map), 1 + 7);  // sized once for every copied property

    Map history;
    ScopedPolicy none{{"dds.data_writer.history.other", "x"}};
    ScopedPolicy named{{"dds.data_writer.history.plugin_name", "my.history"}};
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&history.map, &none), 1);
    EXPECT_TRUE(history.entries().empty());
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&history.map, &named), 1);
    EXPECT_EQ(history.entries(), (Entries{{"my.history", "WRITER_HISTORY"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, CreateFunctionBufferAndNamesBeyondTheFixedBuffer)
{
    char buffer[255];
    std::fill(std::begin(buffer), std::end(buffer), 'x');
    const std::string f254(254, 'f'), f255(255, 'f');
    ScopedPolicy policy{{"a.create_function", f254.c_str()},
                        {"b.create_function", f255.c_str()},
                        {"dds.transport.load_plugins", "b"}};
    ASSERT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, "none"), 1);
    EXPECT_TRUE(
        std::all_of(std::begin(buffer), std::end(buffer), [](char c) { return c == '\0'; }));
    ASSERT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, "a"), 1);
    EXPECT_EQ(buffer, f254);
    EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, "b"), 0);
    expectOnlyEntry(2, "DDS_LOG_COPY_FAILURE_s", {"createFunction"});
    log.clear();
    Map m;  // ... and it stops the load list
    EXPECT_FALSE(m.loaded(&policy));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_GET_FAILURE_s", {"Create_function property"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Name"}));

    // 1024 characters fit the fixed buffer; one more needs the heap, which fails from the start.
    const std::string name1024(1024 - 16, 'p'), name1025(1024 - 16 + 1, 'p');
    const std::string h1024(1024, 'h'), h1025(1025, 'h');
    ScopedPolicy history1024{{"dds.data_writer.history.plugin_name", h1024.c_str()}};
    ScopedPolicy history1025{{"dds.data_writer.history.plugin_name", h1025.c_str()}};
    log.clear();
    {
        FailAfter none(0);
        EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, name1024.c_str()),
                  1);
        EXPECT_EQ(DDS_PropertyQosPolicy_getPluginCreateFunction(buffer, &policy, name1025.c_str()),
                  0);
        EXPECT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&m.map, &history1024), 0);
        EXPECT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&m.map, &history1025), 0);
    }
    ASSERT_EQ(log.size(), 3u) << log.dump();
    EXPECT_TRUE(log.contains(2, "DDS_LOG_OUT_OF_RESOURCES_s", {"propertyNamePtr"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {h1024}));  // only the append failed
    EXPECT_TRUE(log.contains(2, "DDS_LOG_OUT_OF_RESOURCES_s", {"pluginNamePtr"}));

    // With memory, every long name is composed whole.
    const std::string longOuter = std::string(kRows[0].prefix) + "." + std::string(1100, 'o');
    const std::string longSub(1100, 's'), longController = kBucket + std::string(1000, 'c');
    ScopedPolicy longNames{{"dds.transport.load_plugins", longOuter.c_str()},
                           {(longOuter + ".subtransport").c_str(), longSub.c_str()},
                           {(longController + ".x").c_str(), "1"}};
    Map big;
    ASSERT_TRUE(big.participant(&longNames));
    ASSERT_EQ(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&big.map, &history1025), 1);
    Entries expected{{longOuter, kindByName(longOuter)}};
    expected.insert(expected.end(), kBuiltins.begin(), kBuiltins.end());
    expected.insert(expected.end(),
                    {{longController, "FLOW_CONTROLLER"}, {h1025, "WRITER_HISTORY"}});
    EXPECT_EQ(big.entries(), expected);
    EXPECT_EQ(big.omittedNames(), (Names{longOuter + "." + longSub}));
}

TEST_F(PluginPrefixMapTest, NullArgumentsAreRefusedInTheirOrder)
{
    Map m;
    ScopedPolicy p;
    char b[255];
    DDS_TagSeq *tm = &m.map;
    DDS_StringSeq *om = &m.omitted;
    const std::pair<int, const char *> cases[] = {
        {DDS_PropertyQosPolicy_getPluginCreateFunction(nullptr, nullptr, nullptr),
         "createFunction"},
        {DDS_PropertyQosPolicy_getPluginCreateFunction(b, nullptr, nullptr), "inputProperty"},
        {DDS_PropertyQosPolicy_getPluginCreateFunction(b, &p, nullptr), "pluginName"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(nullptr, nullptr, nullptr, "p", "p"),
         "prefixMap"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(tm, nullptr, nullptr, "p", "p"),
         "omittedPrefixes"},
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(tm, om, nullptr, "p", "p"),
         "inputProperty"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(nullptr, nullptr, nullptr),
         "prefixMap"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(tm, nullptr, nullptr),
         "omittedPrefixes"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(tm, om, nullptr),
         "inputProperty"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(nullptr, nullptr, nullptr),
         "prefixMap"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(tm, nullptr, nullptr),
         "omittedPrefixes"},
        {DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(tm, om, nullptr),
         "inputProperty"},
        {DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(nullptr), "prefixMap"},
        {DDS_PropertyQosPolicy_populateFlowControllerPrefixes(nullptr, nullptr), "prefixMap"},
        {DDS_PropertyQosPolicy_populateFlowControllerPrefixes(tm, nullptr), "inputProperty"},
        // A null prefix reaches the create-function reader, whose refusal fails the classification.
        {DDS_PropertyQosPolicy_populateTransportPluginPrefixes(tm, om, &p, nullptr,
                                                               "dds.transport.UDPv4"),
         "pluginName"},
    };
    ASSERT_EQ(log.size(), std::size(cases) + 1) << log.dump();
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].first, 0) << i;
        EXPECT_EQ(log.entries()[i].level, 1) << i;
        EXPECT_EQ(log.entries()[i].args,
                  (Names{"\"" + std::string(cases[i].second) + " == ((void *)0)\""}))
            << i;
    }
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_GET_FAILURE_s", {"Create_function property"}));
    EXPECT_TRUE(m.entries().empty());
}

// A failure at any allocation ends the sources with error entries and keeps what they appended:
// the map and the omitted prefixes are then leading parts of the complete ones.
TEST_F(PluginPrefixMapTest, AllocationFailureAnywhereKeepsWhatWasAppended)
{
    const std::string outer = std::string(kRows[1].prefix) + ".outer";
    const std::string longOuter = std::string(kRows[2].prefix) + "." + std::string(1100, 'l');
    ScopedPolicy policy{
        {"dds.transport.load_plugins", (outer + ",unknown.one," + longOuter).c_str()},
        {"com.zyn.serv.load_plugin", "unknown.two"},
        {(outer + ".subtransport").c_str(), "shmem"},
        {(longOuter + ".subtransport").c_str(), std::string(1100, 's').c_str()},
        {(outer + ".shmem.subtransport").c_str(), "unknown.three"},
        {(kBucket + "fc1.scheduling").c_str(), "x"},
        {(kBucket + std::string(1100, 'c') + ".period").c_str(), "x"}};
    Map complete;
    ASSERT_TRUE(complete.participant(&policy));
    ASSERT_EQ(complete.entries().size(), 3u + 4u + 2u);
    ASSERT_EQ(complete.omittedNames().size(), 4u);

    long points = sweepAllocationFailures([&](long k) {
        log.clear();
        Map m;
        bool ok;
        {
            FailAfter armed(k);
            ok = m.participant(&policy);
        }
        Entries got = m.entries();
        Names omitted = m.omittedNames();
        if (ok) {
            EXPECT_EQ(got, complete.entries());
            EXPECT_EQ(omitted, complete.omittedNames());
            return true;
        }
        EXPECT_GE(log.size(), 1u) << "k=" << k;
        for (const CapturedEntry &e : log.entries())
            EXPECT_EQ(e.level, 2) << "k=" << k << "\n" << log.dump();
        if (!omitted.empty() && omitted.back() == "<null>")
            omitted.pop_back();
        Entries all = complete.entries();
        Names allOmitted = complete.omittedNames();
        EXPECT_TRUE(got.size() <= all.size() && std::equal(got.begin(), got.end(), all.begin()))
            << k;
        EXPECT_TRUE(omitted.size() <= allOmitted.size() &&
                    std::equal(omitted.begin(), omitted.end(), allOmitted.begin()))
            << k;
        return false;
    });
    EXPECT_GT(points, 10);
}

}  // namespace
