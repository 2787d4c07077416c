// The resource-limit check: verdicts, the explanation entry per entity kind, the counting rule
// and its 32-bit ceiling.
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace propqos_test;

constexpr auto check = DDS_PropertyQosPolicy_is_consistentI;
constexpr DDS_EntityKind_t PARTICIPANT = DDS_PARTICIPANT_ENTITY_KIND;
constexpr DDS_EntityKind_t READER = DDS_DATAREADER_ENTITY_KIND;
constexpr DDS_EntityKind_t WRITER = DDS_DATAWRITER_ENTITY_KIND;
const std::string kField = "DDS_DomainParticipantQos.resource_limits.";
const std::string kAdvice =
    "By default, the property QoS policy in a participant QoS is populated with some system "
    "properties. Delete these properties or increase the resource limit ";
const std::string kReaderList = kField + "reader_property_list_max_length";
const std::string kWriterList = kField + "writer_property_list_max_length";
const std::string kCount = "number of properties in the property QoS policy";
const std::string kLength = "cumulative string length of the properties in the property QoS policy";
const std::string kCeiling = "ZYN_LOG_FAILED_TO_CONVERT_TYPE_TEMPLATE";
const std::string kIncomplete = "ZYN_LOG_INCONSISTENT_QOS_TEMPLATE";

class ResourceLimitsTest : public ModuleTest {
protected:
    // The check refuses with the one error entry, of five arguments for a participant.
    void expectViolation(DDS_PropertyQosPolicy *policy, DDS_EntityKind_t kind, DDS_Long count,
                         DDS_Long length, std::initializer_list<std::string> args)
    {
        log.clear();
        EXPECT_EQ(check(policy, kind, count, length), 0);
        const std::string suffix = kind == PARTICIPANT ? "s" : "";
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_POLICIES_sdsd" + suffix, args);
    }
};

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
    const std::string list = kField + "participant_property_list_max_length";
    expectViolation(&five, PARTICIPANT, 4, 99, {kCount, "5", list, "4", kAdvice + list});
    expectViolation(&five, READER, 4, 99, {kCount, "5", kReaderList, "4"});
    // Both limits exceeded (5 * 4 = 20 characters): the entry names the count alone.
    expectViolation(&five, READER, 4, 19, {kCount, "5", kReaderList, "4"});
    for (DDS_EntityKind_t kind : {WRITER, DDS_PUBLISHER_ENTITY_KIND, DDS_SUBSCRIBER_ENTITY_KIND,
                                  DDS_TOPIC_ENTITY_KIND}) {
        expectViolation(&five, kind, 4, 99, {kCount, "5", kWriterList, "4"});
    }
    // A 3-character name and a 4-character value count 9 with their terminators.
    ScopedPolicy one{{"abc", "defg"}};
    ScopedPolicy empty;
    log.clear();
    EXPECT_EQ(check(&one, PARTICIPANT, 1, 9), 1);
    EXPECT_EQ(check(&empty, READER, 0, 0), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
    const std::string string = kField + "participant_property_string_max_length";
    expectViolation(&one, PARTICIPANT, 1, 8, {kLength, "9", string, "8", kAdvice + string});
    const std::string writerString = kField + "writer_property_string_max_length";
    expectViolation(&one, WRITER, 1, 8, {kLength, "9", writerString, "8"});
    // A negative count limit refuses even an empty policy.
    expectViolation(&empty, READER, -1, 0, {kCount, "0", kReaderList, "-1"});
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
    EXPECT_EQ(check(&policy, WRITER, 3, 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kIncomplete, {invalid("c", "NULL")});
    log.clear();
    elements[2] = {nullptr, v, 0};
    EXPECT_EQ(check(&policy, WRITER, 3, 99), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kIncomplete, {invalid("NULL", "v")});
    // The count is judged before any property is looked at.
    expectViolation(&policy, WRITER, 2, 99, {kCount, "3", kWriterList, "2"});

    // A record that claims an element it cannot yield.
    log.clear();
    DDS_PropertyQosPolicy broken = overlay(nullptr, 1);
    EXPECT_EQ(check(&broken, WRITER, 9, 9), 0);
    expectPrecondition("property == ((void *)0)");
}

TEST_F(ResourceLimitsTest, TotalLengthMustFitASigned32BitNumber)
{
    // 1023 elements of 2 * (2^20 + 1) characters share one string; a last one, a suffix of it
    // for its value, brings the sum to `total`.
    constexpr size_t kLong = size_t{1} << 20;
    std::string text(kLong, 'x');
    std::vector<DDS_Property_t> elements;
    auto build = [&](size_t total) {
        elements.assign(1023, DDS_Property_t{text.data(), text.data(), 0});
        const size_t valueLength = total - 1023 * 2 * (kLong + 1) - (kLong + 1) - 1;
        elements.push_back({text.data(), text.data() + kLong - valueLength, 0});
        return overlay(elements.data(), elements.size());
    };
    const auto ceiling = [](const char *sum) {
        return "cumulative string length of the properties (" + std::string(sum) +
               ") exceeds max. representable INT32";
    };
    DDS_PropertyQosPolicy policy = build(2147483647u);
    EXPECT_EQ(check(&policy, WRITER, 2000, 2147483647), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
    // At the ceiling, a one-character name crosses it before its value is added.
    char x[] = "x", yy[] = "yy";
    elements.push_back({x, yy, 0});
    policy = overlay(elements.data(), elements.size());
    EXPECT_EQ(check(&policy, WRITER, 2000, 2147483647), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kCeiling, {ceiling("2147483649")});
    // One character more in a value, reported with the full sum rather than a wrapped one.
    log.clear();
    policy = build(2147483648u);
    EXPECT_EQ(check(&policy, WRITER, 2000, 2147483647), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, kCeiling, {ceiling("2147483648")});
}

}  // namespace
