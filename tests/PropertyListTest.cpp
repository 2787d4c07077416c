// The C++ API over the policy: ownership, access, typed reads, extraction, and the reports built
// from the module's log entries.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "infrastructure/PropertyList.hpp"
#include "platform/TestHooks.h"

namespace
{

using propqos::EntityKind;
using propqos::Mutability;
using propqos::Property;
using propqos::PropertyList;
using propqos::ValidationAction;

std::vector<std::string> names(const PropertyList &list)
{
    std::vector<std::string> out;
    for (const Property p : list) {
        out.emplace_back(p.name);
    }
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
    EXPECT_EQ(copy.find("a")->value, "changed");
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

    // The module's copy fails when memory does: the wrapper throws and keeps nothing.
    {
        propqos::ScopedLogCapture log;
        ZynHeap_setFailAfter(0);
        EXPECT_THROW(PropertyList failed(original), std::bad_alloc);
        ZynHeap_setFailAfter(-1);
        ASSERT_EQ(log.entries().size(), 1u);
        EXPECT_EQ(log.entries()[0].templateId, "ZYN_LOG_ANY_FAILURE_s");
    }

    // Adopting takes the C policy's storage; the C record is left empty and owning nothing.
    DDS_PropertyQosPolicy raw = DDS_PropertyQosPolicy_INITIALIZER;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&raw, "x", "y", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    PropertyList adopted = PropertyList::adopt(raw);
    EXPECT_EQ(DDS_PropertySeq_get_length(&raw.value), 0);
    EXPECT_EQ(adopted.find("x")->value, "y");
    DDS_PropertyQosPolicy_finalize(&raw);
}

TEST_F(PropertyListTest, FindAssertRemoveWithViewsThatAreNotTerminated)
{
    const std::string text = "dds.participant.indexXYZ";
    const std::string_view name = std::string_view(text).substr(0, 21); // "dds.participant.index"
    PropertyList list;
    list.assertProperty(name, std::string_view("12345").substr(0, 2));
    ASSERT_TRUE(list.find("dds.participant.index"));
    EXPECT_EQ(list.find("dds.participant.index")->value, "12");
    EXPECT_FALSE(list.find(text)) << "the view's end must bound the name";

    list.assertProperty(name, "7", true); // replaces value and flag, keeps one property
    EXPECT_EQ(list.size(), 1u);
    EXPECT_EQ(list.find(name)->value, "7");
    EXPECT_TRUE(list.find(name)->propagate);

    list.add(name, "8"); // add never looks for the name
    EXPECT_EQ(list.size(), 2u);

    EXPECT_TRUE(list.remove(name));
    EXPECT_TRUE(list.remove(name));
    EXPECT_FALSE(list.remove(name));
    EXPECT_FALSE(list.find(name));
    EXPECT_TRUE(list.empty());
}

TEST_F(PropertyListTest, TypedReadsAreEmptyWhenAbsentOrUnreadable)
{
    const PropertyList list{{"yes", "YES"},         {"zero", "0"},          {"word", "maybe"},
                            {"min", "-2147483648"}, {"over", "2147483648"}, {"big", "9000000000"},
                            {"umax", "4294967295"}, {"neg", "-1"},          {"half", "1.5"},
                            {"ms", "250ms"}};
    EXPECT_EQ(list.getBool("yes"), true);
    EXPECT_EQ(list.getBool("zero"), false);
    EXPECT_EQ(list.getBool("word"), std::nullopt);
    EXPECT_EQ(list.getBool("absent"), std::nullopt);

    EXPECT_EQ(list.getInt32("min"), INT32_MIN);
    EXPECT_EQ(list.getInt32("over"), std::nullopt) << "out of range for 32 bits";
    EXPECT_EQ(list.getInt64("big"), 9000000000LL);
    EXPECT_EQ(list.getUInt32("umax"), 4294967295u);
    EXPECT_EQ(list.getUInt32("neg"), std::nullopt);
    EXPECT_EQ(list.getInt32("absent"), std::nullopt);

    EXPECT_EQ(list.getDuration("half"), (propqos::Duration{1, 0x80000000u}));
    const std::optional<propqos::Duration> quarter = list.getDuration("ms");
    ASSERT_TRUE(quarter);
    EXPECT_EQ(quarter->sec, 0);
    EXPECT_EQ(quarter->frac, 0x40000000u);
    EXPECT_EQ(list.getDuration("word"), std::nullopt);
}

TEST_F(PropertyListTest, IterationAndExtractionKeepOrder)
{
    const PropertyList list{{"dds.sec.auth.a", "1"},
                            {"other", "2", true},
                            {"dds.sec.auth.b", "3", true},
                            {"DDS.SEC.AUTH.c", "4"}};
    EXPECT_EQ(names(list), (std::vector<std::string>{"dds.sec.auth.a", "other", "dds.sec.auth.b",
                                                     "DDS.SEC.AUTH.c"}));
    std::size_t propagated = 0;
    for (const Property p : list) {
        propagated += p.propagate ? 1 : 0;
    }
    EXPECT_EQ(propagated, 2u);

    const std::optional<PropertyList> under = list.withPrefix("dds.sec.auth.");
    ASSERT_TRUE(under);
    EXPECT_EQ(names(*under), (std::vector<std::string>{"dds.sec.auth.a", "dds.sec.auth.b"}));
    EXPECT_TRUE(under->find("dds.sec.auth.b")->propagate) << "the flag travels with the copy";

    const std::optional<PropertyList> stripped = list.withoutPrefix("dds.sec.auth");
    ASSERT_TRUE(stripped);
    EXPECT_EQ(names(*stripped), (std::vector<std::string>{"a", "b", "prefix"}));
    EXPECT_EQ(stripped->find("prefix")->value, "dds.sec.auth.");

    const std::optional<PropertyList> anyCase = list.withoutPrefix("dds.sec.auth", true);
    ASSERT_TRUE(anyCase);
    EXPECT_EQ(names(*anyCase), (std::vector<std::string>{"a", "b", "c", "prefix"}));

    // A prefix the module cannot hold is refused, not truncated.
    propqos::ScopedLogCapture log;
    EXPECT_FALSE(list.withoutPrefix(std::string(5000, 'p')));
    EXPECT_EQ(log.entries().size(), 1u);
}

TEST_F(PropertyListTest, ValidationReportNamesTheUnknownPropertyAndItsSuggestion)
{
    const PropertyList list{{"dds.transport.UDPv4.builtin.sendbuffer_size", "1"},
                            {"dds.participant.indx", "2"},
                            {"dds.transport.UDPv4.builtin.socket.receive_buffer_size", "3"}};
    const unsigned int instrumentation = DDSLog_g_instrumentationMask;
    const unsigned int submodule = DDSLog_g_submoduleMask;

    const propqos::ValidationReport warn =
        list.validate(EntityKind::Participant, ValidationAction::Warning);
    EXPECT_TRUE(warn.passed);
    ASSERT_EQ(warn.unexpected.size(), 2u) << "one per prefix: dds.participant. and dds.transport.";
    EXPECT_EQ(warn.unexpected[0].name, "dds.participant.indx");
    EXPECT_EQ(warn.unexpected[0].suggestion, "dds.participant.index");
    EXPECT_EQ(warn.unexpected[0].level, ZYN_LOG_LEVEL_WARNING);
    EXPECT_EQ(warn.unexpected[1].name, "dds.transport.UDPv4.builtin.sendbuffer_size");
    EXPECT_EQ(warn.unexpected[1].suggestion, "dds.transport.UDPv4.builtin.socket.send_buffer_size");
    EXPECT_TRUE(warn.other.empty());

    const propqos::ValidationReport reject =
        list.validate(EntityKind::Participant, ValidationAction::Exception);
    EXPECT_FALSE(reject.passed);
    ASSERT_EQ(reject.unexpected.size(), 1u);
    EXPECT_EQ(reject.unexpected[0].level, ZYN_LOG_LEVEL_ERROR);

    const propqos::ValidationReport skip =
        list.validate(EntityKind::Participant, ValidationAction::Skip);
    EXPECT_TRUE(skip.passed);
    EXPECT_TRUE(skip.unexpected.empty());

    // The same names are not checked for a reader at all.
    EXPECT_TRUE(list.validate(EntityKind::DataReader, ValidationAction::Exception).passed);

    EXPECT_EQ(DDSLog_g_instrumentationMask, instrumentation);
    EXPECT_EQ(DDSLog_g_submoduleMask, submodule);
}

TEST_F(PropertyListTest, CapturesNestAndRestoreTheOuterCapture)
{
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
    {
        propqos::ScopedLogCapture outer(ZYN_LOG_VERBOSITY_ERROR);
        const PropertyList bad{{"dds.participant.indx", "2"}};
        // The inner capture (inside validate) takes the entry, the outer sees none of it...
        EXPECT_FALSE(bad.validate(EntityKind::Participant, ValidationAction::Exception).passed);
        EXPECT_TRUE(outer.entries().empty());
        EXPECT_EQ(DDSLog_g_instrumentationMask, unsigned(ZYN_LOG_VERBOSITY_ERROR));
        // ...and gets the entries again once it ends.
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_remove_property(nullptr, "x"),
                  DDS_RETCODE_BAD_PARAMETER);
        ASSERT_EQ(outer.entries().size(), 1u);
        EXPECT_EQ(outer.entries()[0].templateId, "DDS_LOG_BAD_PARAMETER_s");
        EXPECT_EQ(outer.entries()[0].args, std::vector<std::string>{"policy"});
    }
    EXPECT_EQ(DDSLog_g_instrumentationMask, unsigned(ZYN_LOG_VERBOSITY_SILENT));
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
}

TEST_F(PropertyListTest, LimitReportCarriesTheModuleFigures)
{
    const PropertyList five{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}, {"e", "5"}};
    const propqos::LimitReport participant = five.checkLimits(EntityKind::Participant, 4, 1000);
    EXPECT_FALSE(participant.consistent);
    ASSERT_EQ(participant.violations.size(), 1u);
    const propqos::LimitViolation &v = participant.violations[0];
    EXPECT_EQ(v.actual, 5);
    EXPECT_EQ(v.limit, 4);
    EXPECT_EQ(v.limitName,
              "DDS_DomainParticipantQos.resource_limits.participant_property_list_max_length");
    EXPECT_NE(v.advice.find(v.limitName), std::string::npos);

    // Five names and values of one character: 5 * (2 + 2) = 20 characters with terminators.
    const propqos::LimitReport writer = five.checkLimits(EntityKind::DataWriter, 5, 19);
    ASSERT_EQ(writer.violations.size(), 1u);
    EXPECT_EQ(writer.violations[0].actual, 20);
    EXPECT_EQ(writer.violations[0].limitName,
              "DDS_DomainParticipantQos.resource_limits.writer_property_string_max_length");
    EXPECT_TRUE(writer.violations[0].advice.empty());

    EXPECT_TRUE(five.checkLimits(EntityKind::DataReader, 5, 20).consistent);
}

TEST_F(PropertyListTest, MutabilityAndChangeCheckNameTheRefusedProperty)
{
    const PropertyList none;
    EXPECT_EQ(none.mutability("dds.transport.UDPv4.builtin.max_message_size"),
              Mutability::Immutable);
    EXPECT_EQ(none.mutability("dds.participant.index"), Mutability::MutableUntilEnable);
    EXPECT_EQ(none.mutability("dds.participant.logging.verbosity"), Mutability::Mutable);
    EXPECT_EQ(none.mutability("no.such.name"), Mutability::Mutable);
    EXPECT_STREQ(propqos::toString(Mutability::MutableUntilEnable), "mutable until enable");

    const PropertyList current{{"dds.transport.UDPv4.builtin.max_message_size", "65507"},
                               {"dds.participant.index", "1"}};
    PropertyList wanted(current);
    wanted.assertProperty("dds.participant.logging.verbosity", "ERROR");
    EXPECT_TRUE(wanted.checkChangeFrom(current, true).accepted);

    wanted.assertProperty("dds.participant.index", "2");
    EXPECT_TRUE(wanted.checkChangeFrom(current, false).accepted);
    const propqos::ChangeCheck enabled = wanted.checkChangeFrom(current, true);
    EXPECT_FALSE(enabled.accepted);
    EXPECT_EQ(enabled.property, "dds.participant.index");
    EXPECT_EQ(enabled.reason, "cannot modify because entity is already enabled");

    wanted.assertProperty("dds.transport.UDPv4.builtin.max_message_size", "9000");
    const propqos::ChangeCheck immutable = wanted.checkChangeFrom(current, false);
    EXPECT_FALSE(immutable.accepted);
    EXPECT_EQ(immutable.property, "dds.transport.UDPv4.builtin.max_message_size");
    EXPECT_EQ(immutable.reason, "cannot modify because it is immutable");
}

TEST_F(PropertyListTest, SaveRedactsAndValidationActionReads)
{
    const PropertyList list{
        {"dds.sec.auth.password", "hunter2"}, {"x.y", "a<b"}, {"p.password2", "visible"}};
    const std::optional<std::string> saved = list.save();
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->find("hunter2"), std::string::npos);
    EXPECT_NE(saved->find("<value>[redacted]</value>"), std::string::npos);
    EXPECT_NE(saved->find("<value>a&lt;b</value>"), std::string::npos);
    EXPECT_NE(saved->find("<value>visible</value>"), std::string::npos);
    EXPECT_EQ(saved->substr(0, 10), "<property>");
    EXPECT_EQ(saved->back(), '\n');
    EXPECT_EQ(saved->find('\0'), std::string::npos) << "measured and written lengths agree";

    EXPECT_EQ(list.save(&list), std::string()) << "equal to its base: nothing written";
    EXPECT_EQ(PropertyList().save(), std::string("<property>\n</property>\n"));

    EXPECT_TRUE(PropertyList::isConfidential("dds.sec.auth.password"));
    EXPECT_TRUE(PropertyList::isConfidential("a.rtps_psk_secret_passphrase"));
    EXPECT_FALSE(PropertyList::isConfidential("my_password"));
    EXPECT_FALSE(PropertyList::isConfidential("p.Password"));

    EXPECT_EQ(PropertyList().validationAction(), ValidationAction::Exception);
    EXPECT_EQ(
        (PropertyList{{"property_validation_action", "validation_action_skip"}}.validationAction()),
        ValidationAction::Skip);
    EXPECT_EQ(
        (PropertyList{{"dds.participant.property_validation_action", "-1"}}.validationAction()),
        ValidationAction::Warning);
    EXPECT_EQ(
        (PropertyList{{"dds.participant.property_validation_action", "2"}}.validationAction()),
        std::nullopt);
}

} // namespace
