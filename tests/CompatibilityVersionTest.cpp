// The transport minimum compatibility version, with the version parser and comparison under it
// and the platform's robust-mutex answer.
#include <string>

#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

const char *const kName = "dds.transport.minimum_compatibility_version";
const char *const kParser = "ZYN_LOG_PARSER_FAILURE_ss";
const char *const kShmem = "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE";
const std::string kShmemText =
    "Transport property 'dds.transport.minimum_compatibility_version' is not supported for SHMEM "
    "with a value smaller than 7.2.0.0. The value will be ignored.";

std::string text(const DDS_ProductVersion_t &v)
{
    auto f = [](DDS_Char c) { return std::to_string(static_cast<unsigned char>(c)); };
    return f(v.major) + "." + f(v.minor) + "." + f(v.release) + "." + f(v.revision);
}

DDS_ProductVersion_t version(int major, int minor, int release, int revision)
{
    return {static_cast<DDS_Char>(major), static_cast<DDS_Char>(minor),
            static_cast<DDS_Char>(release), static_cast<DDS_Char>(revision)};
}

class CompatibilityVersionTest : public ModuleTest {
protected:
    void TearDown() override
    {
        ZynOsapiSharedMemorySemMutex_setUseRobustMutex(-1);
        ModuleTest::TearDown();
    }
    // The version read, on a clear log, from a policy holding `value` (none when null).
    std::string read(const char *value, int robust, int shmem)
    {
        log.clear();
        ZynOsapiSharedMemorySemMutex_setUseRobustMutex(robust);
        ScopedPolicy policy;
        if (value != nullptr) {
            DDS_PropertyQosPolicyHelper_add_property(&policy, kName, value, DDS_BOOLEAN_FALSE);
        }
        DDS_ProductVersion_t out = version(9, 9, 9, 9);
        DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(&policy, &out, shmem);
        return text(out);
    }
};

TEST_F(CompatibilityVersionTest, ValueDefaultAndSharedMemoryCheck)
{
    const std::pair<const char *, std::string> quiet[] = {
        {nullptr, "6.0.0.0"}, {"7.3.0.0", "7.3.0.0"}, {"7.2.0.0", "7.2.0.0"}, {"7.2.0", "7.2.0.0"}};
    for (const auto &[value, read] : quiet) {
        EXPECT_EQ(this->read(value, 1, 1), read);
        EXPECT_EQ(log.size(), 0u) << log.dump();
    }
    // Older than 7.2.0.0: reported only with shared memory on robust mutexes, handed on anyway.
    for (int robust : {0, 1}) {
        EXPECT_EQ(read("6.1.0.0", robust, !robust), "6.1.0.0");
        EXPECT_EQ(log.size(), 0u) << log.dump();
    }
    for (const char *older : {"6.1.0.0", "7.1.255.255"}) {
        EXPECT_EQ(read(older, 1, 1), older);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kShmem, {kShmemText});
    }
    // A value that does not parse is reported, and the check goes on with the default.
    EXPECT_EQ(read("seven", 1, 0), "6.0.0.0");
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kParser, {kName, "seven"});
    EXPECT_EQ(read("7.2.0.0.0", 1, 1), "6.0.0.0");
    ASSERT_EQ(log.size(), 2u) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, kParser, {kName, "7.2.0.0.0"}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, kShmem, {kShmemText}));
}

TEST_F(CompatibilityVersionTest, VersionParsingAndComparison)
{
    auto parse = [](const char *value) {
        DDS_ProductVersion_t out = version(9, 9, 9, 9);
        return DDS_ProductVersion_from_string(&out, value) ? text(out) : "refused " + text(out);
    };
    EXPECT_EQ(parse("7.2.0"), "7.2.0.0");
    EXPECT_EQ(parse("255.255.255.255"), "255.255.255.255");
    EXPECT_EQ(parse("007.02.0.1"), "7.2.0.1");
    const char *const refused[] = {"", "7.2", "7.2.0.0.0", "7..0", "7.2.0.", "256.0.0", "7.2.0.256",
                                   " 7.2.0", "7.2.0 ", "+7.2.0", "-1.2.0", "7.2.0a",
                                   "99999999999.0.0", nullptr};
    for (const char *text : refused) {
        EXPECT_EQ(parse(text), "refused 9.9.9.9") << '"' << (text ? text : "(null)") << '"';
    }

    auto compare = [](DDS_ProductVersion_t left, DDS_ProductVersion_t right) {
        int result = DDS_ProductVersion_compare(&left, &right);
        return result < 0 ? -1 : (result > 0 ? 1 : 0);
    };
    EXPECT_EQ(compare(version(7, 2, 0, 0), version(7, 2, 0, 0)), 0);
    EXPECT_EQ(compare(version(6, 9, 9, 9), version(7, 0, 0, 0)), -1);   // earlier fields rank
    EXPECT_EQ(compare(version(7, 2, 0, 9), version(7, 2, 1, 0)), -1);
    EXPECT_EQ(compare(version(7, 2, 0, 1), version(7, 2, 0, 0)), 1);
    EXPECT_EQ(compare(version(200, 0, 0, 0), version(100, 0, 0, 0)), 1);   // unsigned fields
}

}  // namespace
