// The valid plug-in property arrays: the names an entity kind gets, in order, the counts the
// caller frees by, and a build that fails before it allocates.
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace propqos_test;
using Names = std::vector<std::string>;

class PluginPropertyArraysTest : public ModuleTest {};

// One call of the builder as its caller makes it, released as its caller does: every slot below
// the count, then the array.
struct Build {
    char **pub = nullptr, **priv = nullptr;
    int pubCount = 1, privCount = 1;
    DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
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

// The slots below the count: the names, then the closing "".
Names slots(char **array, int count)
{
    Names out;
    for (int i = 0; array != nullptr && i < count; ++i)
        out.emplace_back(array[i] != nullptr ? array[i] : "<null>");
    return out;
}

TEST_F(PluginPropertyArraysTest, EachKindGetsItsPluginsNamesInOrderInExactlyFullArrays)
{
    ScopedPolicy policy{{"dds.data_writer.history.plugin_name", "my.history"}};
    const std::string h = "my.history.";
    Build writer, reader;
    ASSERT_EQ(writer.run(&policy, DDS_DATAWRITER_ENTITY_KIND), 1);
    EXPECT_EQ(slots(writer.pub, writer.pubCount),
              (Names{h + "library", h + "create_function", h + "storage.directory", h + "storage.file_prefix",
                     h + "storage.synchronous_writes", h + "storage.restore_on_startup",
                     h + "instance_cache.max_instances", h + "sample_cache.initial_samples",
                     h + "sample_cache.max_samples", ""}));
    EXPECT_EQ(slots(writer.priv, writer.privCount), (Names{h + "storage.cryptography.key", ""}));
    ASSERT_EQ(reader.run(&policy, DDS_DATAREADER_ENTITY_KIND), 1);  // no source: the terminators
    EXPECT_EQ(slots(reader.pub, reader.pubCount), Names{""});
    EXPECT_EQ(slots(reader.priv, reader.privCount), Names{""});
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(PluginPropertyArraysTest, AnOverlongCreateFunctionFailsTheBuild)
{
    // A create function longer than the buffer fails the build before anything is allocated.
    const std::string tooLong(255, 'f');
    ScopedPolicy policy{{"dds.transport.load_plugins", "p"}, {"p.create_function", tooLong.c_str()}};
    Build b;
    EXPECT_EQ(b.run(&policy, DDS_PARTICIPANT_ENTITY_KIND), 0);
    EXPECT_TRUE(log.contains(2, "DDS_LOG_COPY_FAILURE_s", {"createFunction"}));
    EXPECT_TRUE(log.contains(2, "ZYN_LOG_ADD_FAILURE_s", {"Plugin Names per load_plugin"}));
    EXPECT_TRUE(b.pub == nullptr && b.priv == nullptr && b.pubCount == 1 && b.privCount == 1);
}

}  // namespace
