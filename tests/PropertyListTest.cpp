// The C++ API over the policy: ownership, access, typed reads, extraction, and the reports built
// from the module's log entries. What the tool's end-to-end tests already read through it (name
// validation, change check, redaction) is checked here only where the tool does not look.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <propqos/PropertyList.hpp>
#include <propqos/testing.h>

namespace
{

using namespace propqos;
using Strings = std::vector<std::string>;

Strings names(const PropertyList &list)
{
    Strings out;
    for (const Property p : list)
        out.emplace_back(p.name);
    return out;
}

// Every test leaves the module's heap as it found it.
class PropertyListTest : public ::testing::Test
{
protected:
    void SetUp() override { outstanding_ = ZynHeap_getOutstanding(); }
    void TearDown() override
    {
        ZynHeap_setFailAfter(-1);
        EXPECT_EQ(ZynHeap_getOutstanding(), outstanding_);
    }

private:
    long outstanding_ = 0;
};

TEST_F(PropertyListTest, CopyIsDeepMoveTransfersAndFailedCopyThrows)
{
    PropertyList original{{"a", "1"}, {"b", "2", true}};
    PropertyList copy(original);
    copy.assertProperty("a", "changed");
    EXPECT_EQ(original.find("a")->value, "1") << "a copy must not share strings";
    EXPECT_TRUE(copy.find("b")->propagate);

    PropertyList moved(std::move(copy));
    EXPECT_EQ(moved.size(), 2u);
    EXPECT_TRUE(copy.empty()); // NOLINT(bugprone-use-after-move): moved-from is empty by contract
    copy.add("c", "3");        // and still usable
    EXPECT_EQ(copy.size(), 1u);

    PropertyList assigned;
    assigned = original;
    assigned = assigned; // self-assignment keeps the content
    EXPECT_TRUE(assigned == original);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.find("a")->value, "changed");
    {
        ScopedLogCapture log; // a copy that runs out of memory throws and keeps nothing
        ZynHeap_setFailAfter(0);
        EXPECT_THROW(PropertyList failed(original), std::bad_alloc);
        ZynHeap_setFailAfter(-1);
        ASSERT_EQ(log.entries().size(), 1u);
        EXPECT_EQ(log.entries()[0].templateId, "ZYN_LOG_ANY_FAILURE_s");
    }
    // Adopting takes the C policy's storage, leaving the C record empty and owning nothing.
    DDS_PropertyQosPolicy raw = DDS_PropertyQosPolicy_INITIALIZER;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&raw, "x", "y", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    PropertyList adopted = PropertyList::adopt(raw);
    EXPECT_EQ(DDS_PropertySeq_get_length(&raw.value), 0);
    EXPECT_EQ(adopted.find("x")->value, "y");
    DDS_PropertyQosPolicy_finalize(&raw);
}

TEST_F(PropertyListTest, AccessWithViewsThatAreNotTerminatedAndTypedReads)
{
    const std::string text = "dds.participant.indexXYZ";
    const std::string_view name = std::string_view(text).substr(0, 21); // "dds.participant.index"
    PropertyList list;
    list.assertProperty(name, std::string_view("12345").substr(0, 2));
    EXPECT_EQ(list.find("dds.participant.index")->value, "12");
    EXPECT_FALSE(list.find(text)) << "the view's end must bound the name";
    list.assertProperty(name, "7", true); // replaces value and flag, keeps one property
    EXPECT_EQ(list.size(), 1u);
    EXPECT_TRUE(list.find(name)->propagate);
    list.add(name, "8"); // add never looks for the name
    EXPECT_EQ(names(list), Strings(2, "dds.participant.index"));
    EXPECT_TRUE(list.remove(name) && list.remove(name));
    EXPECT_FALSE(list.remove(name));

    // Typed reads: the value when readable as the type, nothing when absent or unreadable.
    const PropertyList typed{{"yes", "YES"},        {"word", "maybe"},      {"min", "-2147483648"},
                             {"big", "9000000000"}, {"umax", "4294967295"}, {"half", "1.5"}};
    EXPECT_EQ(typed.getBool("yes"), true);
    EXPECT_EQ(typed.getBool("word"), std::nullopt);
    EXPECT_EQ(typed.getInt32("min"), INT32_MIN);
    EXPECT_EQ(typed.getInt32("big"), std::nullopt);
    EXPECT_EQ(typed.getInt64("big"), 9000000000LL);
    EXPECT_EQ(typed.getInt64("absent"), std::nullopt);
    EXPECT_EQ(typed.getUInt32("umax"), 4294967295u);
    EXPECT_EQ(typed.getUInt32("min"), std::nullopt);
    EXPECT_EQ(typed.getDuration("half"), (Duration{1, 0x80000000u}));
    EXPECT_EQ(typed.getDuration("word"), std::nullopt);
}

TEST_F(PropertyListTest, IterationAndExtractionKeepOrder)
{
    const PropertyList list{{"dds.sec.auth.a", "1"},
                            {"other", "2", true},
                            {"dds.sec.auth.b", "3", true},
                            {"DDS.SEC.AUTH.c", "4"}};
    std::size_t propagated = 0;
    for (const Property p : list)
        propagated += p.propagate ? 1 : 0;
    EXPECT_EQ(propagated, 2u);
    const std::optional<PropertyList> under = list.withPrefix("dds.sec.auth.");
    ASSERT_TRUE(under);
    EXPECT_EQ(names(*under), (Strings{"dds.sec.auth.a", "dds.sec.auth.b"}));
    EXPECT_TRUE(under->find("dds.sec.auth.b")->propagate) << "the flag travels with the copy";
    EXPECT_EQ(names(list.withoutPrefix("dds.sec.auth").value()), (Strings{"a", "b", "prefix"}));
    EXPECT_EQ(names(list.withoutPrefix("dds.sec.auth", true).value()),
              (Strings{"a", "b", "c", "prefix"}));

    ScopedLogCapture log; // a prefix the module cannot hold is refused, not truncated
    EXPECT_FALSE(list.withoutPrefix(std::string(5000, 'p')));
    EXPECT_EQ(log.entries().size(), 1u);
}

TEST_F(PropertyListTest, ReportsCarryTheModuleFiguresAndCapturesNest)
{
    const PropertyList five{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}, {"e", "5"}};
    const LimitReport participant = five.checkLimits(EntityKind::Participant, 4, 1000);
    EXPECT_FALSE(participant.consistent);
    ASSERT_EQ(participant.violations.size(), 1u);
    const LimitViolation &v = participant.violations[0];
    EXPECT_EQ(v.actual, 5);
    EXPECT_EQ(v.limit, 4);
    EXPECT_EQ(v.limitName,
              "DDS_DomainParticipantQos.resource_limits.participant_property_list_max_length");
    EXPECT_NE(v.advice.find(v.limitName), std::string::npos);
    // Five names and values of one character: 5 * (2 + 2) = 20 characters with terminators.
    const LimitReport writer = five.checkLimits(EntityKind::DataWriter, 5, 19);
    ASSERT_EQ(writer.violations.size(), 1u);
    EXPECT_EQ(writer.violations[0].actual, 20);
    EXPECT_EQ(writer.violations[0].limitName,
              "DDS_DomainParticipantQos.resource_limits.writer_property_string_max_length");
    EXPECT_TRUE(writer.violations[0].advice.empty());
    EXPECT_TRUE(five.checkLimits(EntityKind::DataReader, 5, 20).consistent);

    EXPECT_EQ(five.mutability("dds.participant.index"), Mutability::MutableUntilEnable);
    EXPECT_EQ(five.mutability("no.such.name"), Mutability::Mutable);
    EXPECT_STREQ(toString(Mutability::MutableUntilEnable), "mutable until enable");

    // The capture inside validate takes its entries from an outer capture, which gets the later
    // ones again; each restores the masks it found.
    const PropertyList typo{{"dds.participant.indx", "2"}};
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
    {
        ScopedLogCapture outer(ZYN_LOG_VERBOSITY_ERROR);
        const ValidationReport report =
            typo.validate(EntityKind::Participant, ValidationAction::Exception);
        EXPECT_FALSE(report.passed);
        EXPECT_EQ(report.unexpected.at(0).level, ZYN_LOG_LEVEL_ERROR);
        EXPECT_TRUE(report.other.empty());
        EXPECT_TRUE(outer.entries().empty());
        EXPECT_EQ(DDSLog_g_instrumentationMask, unsigned(ZYN_LOG_VERBOSITY_ERROR));
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(nullptr, "x"),
                  DDS_RETCODE_BAD_PARAMETER);
        ASSERT_EQ(outer.entries().size(), 1u);
        EXPECT_EQ(outer.entries()[0].templateId, "DDS_LOG_BAD_PARAMETER_s");
        EXPECT_EQ(outer.entries()[0].args, Strings{"policy"});
    }
    EXPECT_EQ(DDSLog_g_instrumentationMask, unsigned(ZYN_LOG_VERBOSITY_SILENT));
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
}

TEST_F(PropertyListTest, SaveAgainstABaseAndValidationActionReads)
{
    // Measured and written lengths agree; what the tool's redaction reads is checked there.
    EXPECT_EQ(PropertyList().save(), std::string("<property>\n</property>\n"));
    const PropertyList list{{"x.y", "a<b"}};
    EXPECT_EQ(list.save(&list), std::string()) << "equal to its base: nothing written";

    EXPECT_EQ(PropertyList().validationAction(), ValidationAction::Exception);
    EXPECT_EQ(
        (PropertyList{{"property_validation_action", "validation_action_skip"}}.validationAction()),
        ValidationAction::Skip);
    EXPECT_EQ(
        (PropertyList{{"dds.participant.property_validation_action", "2"}}.validationAction()),
        std::nullopt);
}

} // namespace
