// The valid plug-in property arrays: the names each entity kind gets, the counts the caller frees
// by, the per-entry helpers, and a failure at every allocation leaving arrays that the caller's
// own freeing loop releases.
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

const Entries kBuiltins = {{"dds.transport.UDPv4.builtin", "UDPV4"},
                           {"dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN"},
                           {"dds.transport.shmem.builtin", "SHMEM"},
                           {"dds.transport.UDPv6.builtin", "UDPV6"}};

class PluginPropertyArraysTest : public ModuleTest {};

// The names the table gives a map: entries in order, rows whose name occurs in the entry's kind
// in order, suffixes in order.
std::pair<Names, Names> expand(const Entries &map)
{
    std::pair<Names, Names> names;
    for (const auto &[prefix, kind] : map) {
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
            if (lower(kind).find(lower(row.name)) == std::string::npos)
                continue;
            for (int i = 0; i < row.publicPropertiesSize; ++i)
                names.first.push_back(prefix + "." + row.publicProperties[i]);
            for (int i = 0; i < row.privatePropertiesSize; ++i)
                names.second.push_back(prefix + "." + row.privateProperties[i]);
        }
    }
    return names;
}

// One call of the builder as its caller makes it, released as its caller does: every slot below
// the count, then the array.
struct Build {
    char **pub = nullptr, **priv = nullptr;
    int pubCount, privCount;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
    explicit Build(int extraSlots = 1) : pubCount(extraSlots), privCount(extraSlots) {}
    ~Build()
    {
        for (auto [array, count] : {std::pair{pub, pubCount}, std::pair{priv, privCount}}) {
            for (int i = 0; array != nullptr && i < count; ++i)
                DDS_String_free(array[i]);
            ZynOsapiHeap_freeArray(array);
        }
        DDS_StringSeq_finalize(&omitted);
    }
    int run(const DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind)
    {
        return DDS_PropertyQosPolicy_populatePluginProperties(&pub, &priv, &pubCount, &privCount,
                                                              &omitted, policy, kind);
    }
};

// A complete array: the names, "" in the next slot, null slots up to the count.
void expectTable(char **array, int count, const Names &names)
{
    ASSERT_NE(array, nullptr);
    ASSERT_GE(count, static_cast<int>(names.size()) + 1);
    for (size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(array[i] != nullptr ? array[i] : "<null>", names[i]) << i;
    EXPECT_STREQ(array[names.size()], "");
    for (int i = static_cast<int>(names.size()) + 1; i < count; ++i)
        EXPECT_EQ(array[i], nullptr) << i;
}

// One of everything: a nesting kind (its name holds another row's) with a sub-transport, a kind
// with private suffixes loaded twice, an unknown plug-in, two flow controllers and a writer
// history.
struct RichPolicy {
    const std::string first = "dds.transport.UDPv4_WAN.first", secured = "dds.sec.auth.secured",
                      bucket = "dds.flow_controller.token_bucket.";
    ScopedPolicy policy{
        {"dds.transport.load_plugins", (first + "," + secured + ",unknown.one," + secured).c_str()},
        {(first + ".subtransport").c_str(), "shmem"},
        {(bucket + "fast.scheduling").c_str(), "x"},
        {(bucket + "fast.bucket.period").c_str(), "x"},
        {(bucket + "slow.period").c_str(), "x"},
        {"dds.data_writer.history.plugin_name", "my.history"}};
    Entries participantMap() const
    {
        Entries map = {{first, "UDPV4_WAN"}, {secured, "AUTHENTICATION"}, {secured, "AUTHENTICATION"},
                       {first + ".shmem", "SHMEM"}};
        map.insert(map.end(), kBuiltins.begin(), kBuiltins.end());
        map.insert(map.end(),
                   {{bucket + "fast", "FLOW_CONTROLLER"}, {bucket + "slow", "FLOW_CONTROLLER"}});
        return map;
    }
};

TEST_F(PluginPropertyArraysTest, EachEntityKindGetsItsPluginsNamesInExactlyFullArrays)
{
    RichPolicy rich;
    const struct {
        DDS_EntityKind_t kind;
        Entries map;
        Names omitted;
    } cases[] = {
        {DDS_PARTICIPANT_ENTITY_KIND, rich.participantMap(), {"unknown.one"}},
        {DDS_DATAWRITER_ENTITY_KIND, {{"my.history", "WRITER_HISTORY"}}, {}},
        {DDS_DATAREADER_ENTITY_KIND, {}, {}},  // no source: terminators only
    };
    for (const auto &c : cases) {
        const std::pair<Names, Names> names = expand(c.map);
        for (int extra : {1, 3}) {  // slots asked for beyond the names stay null and count
            SCOPED_TRACE(std::to_string(c.kind) + " with " + std::to_string(c.map.size()) +
                         " entries, " + std::to_string(extra) + " extra");
            Build b(extra);
            ASSERT_EQ(b.run(&rich.policy, c.kind), 1);
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
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, AnOverlongCreateFunctionFailsTheBuild)
{
    const DDS_EntityKind_t k = DDS_PARTICIPANT_ENTITY_KIND;
    // A create function longer than the buffer fails the build before anything is allocated.
    const std::string tooLong(255, 'f');
    ScopedPolicy policy{{"dds.transport.load_plugins", "p"},
                        {"p.create_function", tooLong.c_str()}};
    Build b;
    EXPECT_EQ(b.run(&policy, k), 0);
    EXPECT_TRUE(log.contains(2, "DDS_LOG_COPY_FAILURE_s", {"createFunction"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Names per load_plugin"}));
    EXPECT_TRUE(b.pub == nullptr && b.priv == nullptr && b.pubCount == 1 && b.privCount == 1);
}

}  // namespace
