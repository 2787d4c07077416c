// The plug-in prefix map: classification by name and create function, load order,
// sub-transports, flow controllers, writer history, names beyond the fixed buffers, and running
// out of memory anywhere on the way.
#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
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

class PluginPrefixMapTest : public ModuleTest {};

Entries operator+(Entries a, const Entries &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
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
    bool loaded(const DDS_PropertyQosPolicy *p)
    {
        return DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, p);
    }
    bool participant(const DDS_PropertyQosPolicy *p)  // the participant's sources, in order
    {
        return loaded(p) &&
               DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&map, &omitted, p) &&
               DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&map) &&
               DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&map, p);
    }
    Entries entries() const
    {
        Entries out;
        for (DDS_Long i = 0; i < DDS_TagSeq_get_length(&map); ++i)
            out.emplace_back(DDS_TagSeq_get_reference(&map, i)->name,
                             DDS_TagSeq_get_reference(&map, i)->value);
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

TEST_F(PluginPrefixMapTest, LoadListsAreReadInTheirOrderAndUnknownPluginsOmittedEachTime)
{
    // The lists are read in a fixed order, whatever the order of the properties; a create
    // function is matched with letter case.
    ScopedPolicy policy{{"com.zyn.serv.load_plugin", "com.zyn.monitor.e"},
                        {"dds.discovery.participant.load_plugins", "dds.sec.auth.d"},
                        {"dds.discovery.endpoint.load_plugins", "dds.transport.shmem.c,unknown.e, acme,,acme"},
                        {"dds.transport.load_plugins", "dds.transport.UDPv4.a,dds.transport.TCPv4.b"},
                        {"acme.create_function", "zyntransportudpv4_create"}};
    Map m;
    ASSERT_TRUE(m.loaded(&policy));
    EXPECT_EQ(m.entries(), (Entries{{"dds.transport.UDPv4.a", "UDPV4"}, {"dds.transport.TCPv4.b", "TCPV4"},
                                    {"dds.transport.shmem.c", "SHMEM"}, {"dds.sec.auth.d", "AUTHENTICATION"},
                                    {"com.zyn.monitor.e", "MONITORING"}}));
    EXPECT_EQ(m.omittedNames(), (Names{"unknown.e", "acme", "acme"}));
    EXPECT_EQ(DDS_StringSeq_get_maximum(&m.omitted), 3);  // grown one element at a time
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, SubtransportsAreFollowedThroughRecognisedInstances)
{
    const std::string sub = "shmem";  // classified as "dds.transport.shmem"
    const std::string outer = "dds.transport.UDPv4_WAN.outer", inner = outer + "." + sub;
    ScopedPolicy policy{{"dds.transport.load_plugins", (outer + ",unknown.x").c_str()},
                        {(outer + ".subtransport").c_str(), sub.c_str()},
                        {(inner + ".subtransport").c_str(), "lost"},
                        {"unknown.x.subtransport", "shmem"},
                        {"dds.transport.UDPv4.builtin.subtransport", "shmem"}};
    Map m;
    ASSERT_TRUE(m.participant(&policy));
    EXPECT_EQ(m.entries(),
              (Entries{{outer, "UDPV4_WAN"}, {inner, "SHMEM"}} +
               kBuiltins));
    // The sub-transport's own sub-transport is unknown; omitted and built-in instances (added
    // later) are not followed, nor is an entry whose kind matches no row.
    EXPECT_EQ(m.omittedNames(), (Names{"unknown.x", inner + ".lost"}));
    Map foreign;
    DDS_TagSeq_add_element(&foreign.map, nullptr, outer.c_str(), "NO_SUCH_KIND");
    ASSERT_TRUE(DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(
        &foreign.map, &foreign.omitted, &policy));
    EXPECT_EQ(foreign.entries().size(), 1u);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, FlowControllersAndWriterHistory)
{
    const std::string fc1 = kBucket + "fc1", loud = "DDS.FLOW_CONTROLLER.TOKEN_BUCKET.fc3";
    ScopedPolicy policy{{(fc1 + ".scheduling").c_str(), "x"},
                        {(fc1 + ".bucket.period").c_str(), "x"},
                        {"dds.other", "x"},
                        {(kBucket + "fc2.scheduling").c_str(), "x"},
                        {(loud + ".scheduling").c_str(), "x"},
                        {(kBucket + "fc3.period").c_str(), "x"},
                        {(kBucket + "bare").c_str(), "x"},
                        {(kBucket + "late.scheduling").c_str(), "x"}};
    // Another source's entry with fc1's prefix does not count as fc1 recorded; a controller name
    // with no setting after it ends the scan, so "late" is never reached.
    Map m;
    DDS_TagSeq_add_element(&m.map, nullptr, fc1.c_str(), "OTHER");
    ASSERT_TRUE(DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&m.map, &policy));
    Entries expected = {{fc1, "OTHER"}};
    for (const std::string &prefix : {fc1, kBucket + "fc2", loud, kBucket + "fc3"})
        expected.emplace_back(prefix, "FLOW_CONTROLLER");
    EXPECT_EQ(m.entries(), expected);
    EXPECT_EQ(DDS_TagSeq_get_maximum(&m.map), 1 + 7);  // sized once for every copied property

    Map history;
    ScopedPolicy none{{"dds.data_writer.history.other", "x"}};
    ScopedPolicy named{{"dds.data_writer.history.plugin_name", "my.history"}};
    ASSERT_TRUE(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&history.map, &none));
    EXPECT_TRUE(history.entries().empty());
    ASSERT_TRUE(DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&history.map, &named));
    EXPECT_EQ(history.entries(), (Entries{{"my.history", "WRITER_HISTORY"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPrefixMapTest, CreateFunctionBufferAndNamesBeyondTheFixedBuffer)
{
    const auto read = DDS_PropertyQosPolicy_getPluginCreateFunction;
    const auto history = DDS_PropertyQosPolicy_populateWriterHistoryPrefixes;
    char buffer[255];
    std::fill(std::begin(buffer), std::end(buffer), 'x');
    const std::string f254(254, 'f'), f255(255, 'f');
    ScopedPolicy policy{{"a.create_function", f254.c_str()}, {"b.create_function", f255.c_str()}};
    ASSERT_EQ(read(buffer, &policy, "none"), 1);
    EXPECT_EQ(std::count(std::begin(buffer), std::end(buffer), '\0'), 255);
    ASSERT_EQ(read(buffer, &policy, "a"), 1);
    EXPECT_EQ(buffer, f254);
    EXPECT_EQ(read(buffer, &policy, "b"), 0);
    expectOnlyEntry(2, "DDS_LOG_COPY_FAILURE_s", {"createFunction"});

    // 1024 characters fit the fixed buffer; one more needs the heap, which fails from the start.
    const std::string name1024(1024 - 16, 'p'), name1025(1024 - 16 + 1, 'p');
    const std::string h1024(1024, 'h'), h1025(1025, 'h');
    ScopedPolicy history1024{{"dds.data_writer.history.plugin_name", h1024.c_str()}};
    ScopedPolicy history1025{{"dds.data_writer.history.plugin_name", h1025.c_str()}};
    log.clear();
    Map m;
    {
        FailAfter none(0);
        EXPECT_EQ(read(buffer, &policy, name1024.c_str()), 1);
        EXPECT_EQ(read(buffer, &policy, name1025.c_str()), 0);
        EXPECT_EQ(history(&m.map, &history1024), 0);
        EXPECT_EQ(history(&m.map, &history1025), 0);
    }
    ASSERT_EQ(log.size(), 3u) << log.dump();
    EXPECT_TRUE(log.contains(2, "DDS_LOG_OUT_OF_RESOURCES_s", {"propertyNamePtr"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {h1024}));  // only the append failed
    EXPECT_TRUE(log.contains(2, "DDS_LOG_OUT_OF_RESOURCES_s", {"pluginNamePtr"}));

    // With memory, every long name is composed whole.
    const std::string longOuter = "dds.transport.UDPv4_WAN." + std::string(1100, 'o');
    const std::string longSub(1100, 's'), longController = kBucket + std::string(1000, 'c');
    ScopedPolicy longNames{{"dds.transport.load_plugins", longOuter.c_str()},
                           {(longOuter + ".subtransport").c_str(), longSub.c_str()},
                           {(longController + ".x").c_str(), "1"}};
    Map big;
    ASSERT_TRUE(big.participant(&longNames) && history(&big.map, &history1025));
    EXPECT_EQ(big.entries(),
              (Entries{{longOuter, "UDPV4_WAN"}} + kBuiltins +
               Entries{{longController, "FLOW_CONTROLLER"}, {h1025, "WRITER_HISTORY"}}));
    EXPECT_EQ(big.omittedNames(), (Names{longOuter + "." + longSub}));
}

}  // namespace
