// The C++ API over the policy: ownership, access, typed reads, extraction, errors, and the
// checks' reports. What the tool's end-to-end tests already read through it (name validation,
// change check, redaction) is checked here only where the tool does not look.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include <propqos/PropertyList.hpp>
#include <propqos/testing.h>

#include "support/TestSupport.h"

namespace
{

using namespace propqos;
using propqos_test::LogCapture;
using Strings = std::vector<std::string>;

Strings names(const PropertyList &list)
{
    Strings out;
    for (const Property p : list)
        out.emplace_back(p.name);
    return out;
}

// Every test leaves the module's heap as it found it, and the C++ API never writes to the log:
// the capture, standing for an application's sink, must stay empty.
class PropertyListTest : public propqos_test::ModuleTest
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(log.size(), 0u) << "the C++ API wrote to the log:\n" << log.dump();
        ModuleTest::TearDown();
    }
};

template <typename Operation>
DDS_ReturnCode_t codeThrown(Operation operation)
{
    try {
        operation();
    } catch (const Error &e) {
        return e.code();
    }
    return DDS_RETCODE_OK;
}

TEST_F(PropertyListTest, OwnershipCopiesMovesAdoptsAndReleases)
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
    const PropertyList &same = assigned;
    assigned = same; // self-assignment keeps the content
    EXPECT_TRUE(assigned == original);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.find("a")->value, "changed");

    // A copy that runs out of memory throws the module's code and words, and keeps nothing.
    ZynHeap_setFailAfter(0);
    try {
        PropertyList failed(original);
        ADD_FAILURE() << "the copy should have failed";
    } catch (const Error &e) {
        EXPECT_EQ(e.code(), DDS_RETCODE_OUT_OF_RESOURCES);
        EXPECT_NE(std::string(e.what()).find("copy failed: "), std::string::npos) << e.what();
    }
    ZynHeap_setFailAfter(-1);

    // Adopting takes the C policy's storage, leaving the C record empty and owning nothing;
    // releasing hands the same storage back.
    DDS_PropertyQosPolicy raw = DDS_PropertyQosPolicy_INITIALIZER;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&raw, "x", "y", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    const DDS_Property_t *storage = raw.value._contiguous_buffer;
    PropertyList adopted = PropertyList::adopt(raw);
    EXPECT_EQ(DDS_PropertySeq_get_length(&raw.value), 0);
    EXPECT_EQ(adopted.find("x")->value, "y");
    DDS_PropertyQosPolicy back = adopted.release();
    EXPECT_TRUE(adopted.empty());
    EXPECT_EQ(back.value._contiguous_buffer, storage);
    EXPECT_EQ(DDS_PropertySeq_get_length(&back.value), 1);
    DDS_PropertyQosPolicy_finalize(&back);
    DDS_PropertyQosPolicy_finalize(&raw);
}

TEST_F(PropertyListTest, NamesAreViewsNeverTruncatedAndOrdinaryLookupsDoNotAllocate)
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

    // An embedded NUL is refused where the C API would have stored or matched the first part.
    using namespace std::string_literals;
    list.add("a", "1");
    const std::string withNul = "a\0b"s;
    EXPECT_EQ(codeThrown([&] { list.add(withNul, "2"); }), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(codeThrown([&] { list.assertProperty("b", withNul); }), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(codeThrown([&] { list.mutability(withNul); }), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_FALSE(list.find(withNul) || list.getInt32(withNul) || list.withPrefix(withNul));
    EXPECT_FALSE(list.remove(withNul));
    EXPECT_EQ(names(list), Strings{"a"});

    // Names of ordinary length are looked up without allocating; a long one goes to the heap.
    const std::string longName(2000, 'n');
    list.add(longName, "long");
    const long before = ZynHeap_getAllocationCount();
    EXPECT_EQ(list.find("a")->value, "1");
    EXPECT_EQ(list.getInt32("a"), 1);
    EXPECT_FALSE(list.contains(std::string(200, 'n')));
    EXPECT_EQ(ZynHeap_getAllocationCount(), before);
    EXPECT_EQ(list.find(longName)->value, "long");
    ZynHeap_setFailAfter(0);
    EXPECT_EQ(codeThrown([&] { list.find(longName); }), DDS_RETCODE_OUT_OF_RESOURCES);
    EXPECT_EQ(codeThrown([&] { list.add("new", "value"); }), DDS_RETCODE_OUT_OF_RESOURCES);
    ZynHeap_setFailAfter(-1);

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
    using It = PropertyList::const_iterator;
    static_assert(std::is_same_v<std::iterator_traits<It>::iterator_category,
                                 std::input_iterator_tag>,
                  "the reference is a value: an input iterator, honestly");
    std::size_t propagated = 0;
    for (It it = list.begin(); it != list.end(); ++it)
        propagated += it->propagate ? 1 : 0;
    EXPECT_EQ(propagated, 2u);
    EXPECT_EQ(std::distance(list.begin(), list.end()), 4);

    const std::optional<PropertyList> under = list.withPrefix("dds.sec.auth.");
    ASSERT_TRUE(under);
    EXPECT_EQ(names(*under), (Strings{"dds.sec.auth.a", "dds.sec.auth.b"}));
    EXPECT_TRUE(under->find("dds.sec.auth.b")->propagate) << "the flag travels with the copy";
    EXPECT_EQ(names(list.withoutPrefix("dds.sec.auth").value()), (Strings{"a", "b", "prefix"}));
    EXPECT_EQ(names(list.withoutPrefix("dds.sec.auth", true).value()),
              (Strings{"a", "b", "c", "prefix"}));
    // A prefix the module cannot hold is refused, not truncated (and not logged).
    EXPECT_FALSE(list.withoutPrefix(std::string(5000, 'p')));
}

TEST_F(PropertyListTest, ReportsCarryTheFindingsWhateverTheMasks)
{
    // The masks closed: the C++ checks neither read nor change them.
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_SILENT;
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
    // Both limits exceeded: both said, the count first.
    const LimitReport both = five.checkLimits(EntityKind::DataReader, 4, 19);
    ASSERT_EQ(both.violations.size(), 2u);
    EXPECT_TRUE(both.violations[0].actual == 5 && both.violations[1].actual == 20);

    EXPECT_EQ(five.mutability("dds.participant.index"), Mutability::MutableUntilEnable);
    EXPECT_EQ(five.mutability("no.such.name"), Mutability::Mutable);
    EXPECT_STREQ(toString(Mutability::MutableUntilEnable), "mutable until enable");

    // Warning: every prefix reports its first unknown name; exception: the first one stops it.
    const PropertyList typos{{"dds.participant.indx", "2"}, {"dds.transport.UDPv4.builtin.x", "1"}};
    const ValidationReport warned = typos.validate(EntityKind::Participant, ValidationAction::Warning);
    EXPECT_TRUE(warned.passed);
    ASSERT_EQ(warned.unexpected.size(), 2u);
    EXPECT_EQ(warned.unexpected[0].name, "dds.participant.indx");
    EXPECT_EQ(warned.unexpected[0].suggestion, "dds.participant.index");
    EXPECT_EQ(warned.unexpected[0].checkedUnder, "dds.participant.");
    EXPECT_EQ(warned.unexpected[0].level, Severity::Warning);
    EXPECT_EQ(warned.unexpected[1].checkedUnder, "dds.transport.");
    const ValidationReport refused =
        typos.validate(EntityKind::Participant, ValidationAction::Exception);
    EXPECT_FALSE(refused.passed);
    ASSERT_EQ(refused.unexpected.size(), 1u);
    EXPECT_EQ(refused.unexpected[0].level, Severity::Error);
    EXPECT_TRUE(refused.other.empty());
    EXPECT_EQ(DDSLog_g_instrumentationMask, unsigned(ZYN_LOG_VERBOSITY_SILENT));

    // A check that fails in itself says why in `other`, not in the log.
    ZynHeap_setFailAfter(0);
    const ValidationReport failed = typos.validate(EntityKind::Participant, ValidationAction::Warning);
    ZynHeap_setFailAfter(-1);
    EXPECT_FALSE(failed.passed);
    ASSERT_FALSE(failed.other.empty());
    EXPECT_EQ(failed.other.back().templateId, "ZYN_LOG_GET_FAILURE_s");
    EXPECT_EQ(failed.other.back().args, Strings{"plugin properties"});

    const ChangeCheck change =
        PropertyList{{"dds.participant.index", "3"}}.checkChangeFrom(five, true);
    EXPECT_FALSE(change.accepted);
    EXPECT_EQ(change.property, "dds.participant.index");
    EXPECT_EQ(change.reason, "cannot modify because entity is already enabled");
    DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
}

TEST_F(PropertyListTest, SaveConfidentialNamesAndValidationActionReads)
{
    // Measured and written lengths agree; what the tool's redaction reads is checked there.
    EXPECT_EQ(PropertyList().save(), std::string("<property>\n</property>\n"));
    const PropertyList list{{"x.y", "a<b"}};
    EXPECT_EQ(list.save(&list), std::string()) << "equal to its base: nothing written";
    // The answer agrees with what saving does.
    for (const char *name : {"dds.sec.auth.password", "a.private_key", "my_password", "password"}) {
        const bool redacted =
            PropertyList{{name, "v"}}.save()->find("[redacted]") != std::string::npos;
        EXPECT_EQ(PropertyList::isConfidential(name), redacted) << name;
    }

    EXPECT_EQ(PropertyList().validationAction(), ValidationAction::Exception);
    EXPECT_EQ(
        (PropertyList{{"property_validation_action", "validation_action_skip"}}.validationAction()),
        ValidationAction::Skip);
    EXPECT_EQ(
        (PropertyList{{"dds.participant.property_validation_action", "2"}}.validationAction()),
        std::nullopt);
}

} // namespace
