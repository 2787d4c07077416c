// The resource-limit check: verdicts, the explanation entry per entity kind, the counting rule
// and its 32-bit ceiling.
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

const std::string kField = "DDS_DomainParticipantQos.resource_limits.";
const std::string kAdvice =
    "By default, the property QoS policy in a participant QoS is populated with some system "
    "properties. Delete these properties or increase the resource limit ";
const std::string kCount = "number of properties in the property QoS policy";
const std::string kLength = "cumulative string length of the properties in the property QoS policy";

class ResourceLimitsTest : public ModuleTest {};

// A sequence record over the test's own elements, for contents that a real sequence would not
// hold or that would be too big to copy. Never finalised: nothing in it is the module's.
DDS_PropertyQosPolicy overlay(DDS_Property_t *elements, size_t length)
{
    DDS_PropertyQosPolicy policy = DDS_PropertyQosPolicy_INITIALIZER;
    policy.value._contiguous_buffer = elements;
    policy.value._maximum = policy.value._length = static_cast<DDS_UnsignedLong>(length);
    policy.value._owned = DDS_BOOLEAN_FALSE;
    return policy;
}

TEST_F(ResourceLimitsTest, ExplanationNamesTheLimitOfEachEntityKind)
{
    ScopedPolicy five{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}, {"e", "5"}};
    const std::string participant = kField + "participant_property_list_max_length";
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&five, DDS_PARTICIPANT_ENTITY_KIND, 4, 99), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsds",
                    {kCount, "5", participant, "4", kAdvice + participant});

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&five, DDS_DATAREADER_ENTITY_KIND, 4, 99), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsd",
                    {kCount, "5", kField + "reader_property_list_max_length", "4"});

    for (DDS_EntityKind_t kind : {DDS_DATAWRITER_ENTITY_KIND, DDS_PUBLISHER_ENTITY_KIND,
                                  DDS_SUBSCRIBER_ENTITY_KIND, DDS_TOPIC_ENTITY_KIND}) {
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&five, kind, 4, 99), 0);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsd",
                        {kCount, "5", kField + "writer_property_list_max_length", "4"});
    }

    // A 3-character name and a 4-character value count 9 with their terminators.
    ScopedPolicy one{{"abc", "defg"}};
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&one, DDS_PARTICIPANT_ENTITY_KIND, 1, 9), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
    const std::string string = kField + "participant_property_string_max_length";
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&one, DDS_PARTICIPANT_ENTITY_KIND, 1, 8), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsds",
                    {kLength, "9", string, "8", kAdvice + string});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&one, DDS_DATAWRITER_ENTITY_KIND, 1, 8), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsd",
                    {kLength, "9", kField + "writer_property_string_max_length", "8"});

    // Empty is consistent with limits of 0; a negative count limit refuses even that.
    ScopedPolicy empty;
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&empty, DDS_DATAREADER_ENTITY_KIND, 0, 0), 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&empty, DDS_DATAREADER_ENTITY_KIND, -1, 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsd",
                    {kCount, "0", kField + "reader_property_list_max_length", "-1"});
}

TEST_F(ResourceLimitsTest, IncompleteAndUnfetchableProperties)
{
    auto invalid = [](const char *name, const char *value) {
        return "Invalid property provided with (name=" + std::string(name) + ", value=" + value +
               ") at index 2 of the PropertyQosPolicy sequence with length 3.";
    };
    char a[] = "a", c[] = "c", v[] = "v";
    DDS_Property_t elements[3] = {{a, v, 0}, {a, v, 0}, {c, nullptr, 0}};
    DDS_PropertyQosPolicy policy = overlay(elements, 3);
    // A string limit of 0 does not hide the incomplete property: lengths are judged last.
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 3, 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_INCONSISTENT_QOS_TEMPLATE", {invalid("c", "NULL")});

    log.clear();
    elements[2] = {nullptr, v, 0};
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 3, 99), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_INCONSISTENT_QOS_TEMPLATE", {invalid("NULL", "v")});

    // The count is judged before any property is looked at.
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 2, 99), 0);
    EXPECT_EQ(log.count("DDS_LOG_INCONSISTENT_POLICIES_sdsd"), 1u) << log.dump();

    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(nullptr, DDS_PARTICIPANT_ENTITY_KIND, 9, 9), 0);
    expectPrecondition("me == ((void *)0)");

    // A record that claims an element it cannot yield.
    log.clear();
    DDS_PropertyQosPolicy broken = overlay(nullptr, 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&broken, DDS_DATAWRITER_ENTITY_KIND, 9, 9), 0);
    expectPrecondition("property == ((void *)0)");
}

TEST_F(ResourceLimitsTest, TotalLengthMustFitASigned32BitNumber)
{
    // 1023 elements of 2 * (2^20 + 1) characters share one string; a last one, a suffix of it
    // for its value, brings the sum to `total`.
    constexpr size_t kLong = size_t{1} << 20;
    std::string text(kLong, 'x');
    char *full = text.data();
    std::vector<DDS_Property_t> elements;
    auto build = [&](size_t total) {
        elements.assign(1023, DDS_Property_t{full, full, 0});
        size_t valueLength = total - 1023 * 2 * (kLong + 1) - (kLong + 1) - 1;
        elements.push_back({full, full + kLong - valueLength, 0});
    };

    build(2147483647u);
    DDS_PropertyQosPolicy policy = overlay(elements.data(), elements.size());
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 2000,
                                                   2147483647),
              1);
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // At the ceiling, a one-character name crosses it before its value is added.
    char x[] = "x", yy[] = "yy";
    elements.push_back({x, yy, 0});
    policy = overlay(elements.data(), elements.size());
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 2000,
                                                   2147483647),
              0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE",
                    {"cumulative string length of the properties (2147483649) exceeds max. "
                     "representable INT32"});

    // One character more in a value, reported with the full sum rather than a wrapped one.
    log.clear();
    build(2147483648u);
    policy = overlay(elements.data(), elements.size());
    EXPECT_EQ(DDS_PropertyQosPolicy_is_consistentI(&policy, DDS_DATAWRITER_ENTITY_KIND, 2000,
                                                   2147483647),
              0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE",
                    {"cumulative string length of the properties (2147483648) exceeds max. "
                     "representable INT32"});
}

}  // namespace
