// Extraction by prefix: the engine, get / append / without prefix, the security plug-ins' set and
// extraction into a second policy.
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using propqos_test::CapturedEntry;
using propqos_test::FailAfter;
using propqos_test::ModuleTest;
using propqos_test::ScopedPolicy;
using propqos_test::ScopedSeq;
using propqos_test::sweepAllocationFailures;
using Texts = std::vector<std::string>;

constexpr const char *kGet = "DDS_PropertyQosPolicyHelper_get_properties";
constexpr const char *kAppend = "DDS_PropertyQosPolicyHelper_append_properties";
constexpr const char *kWithout = "DDS_PropertyQosPolicyHelper_get_properties_without_prefix";

class ExtractionTest : public ModuleTest {};

// "name=value" of every element within the length.
Texts contents(const DDS_PropertySeq *seq)
{
    Texts out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(seq); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(seq, i);
        out.push_back(std::string(p->name ? p->name : "(null)") + "=" +
                      (p->value ? p->value : "(null)"));
    }
    return out;
}

// Storage lent by the test: zero-filled elements, with whatever strings the module left in them
// released at the end.
struct LentSeq {
    explicit LentSeq(DDS_Long maximum) : buffer(static_cast<size_t>(maximum))
    {
        EXPECT_TRUE(DDS_PropertySeq_loan_contiguous(&seq, buffer.data(), 0, maximum));
    }
    ~LentSeq()
    {
        for (DDS_Property_t &element : buffer) {
            DDS_String_free(element.name);
            DDS_String_free(element.value);
        }
        DDS_PropertySeq_unloan(&seq);
    }
    LentSeq(const LentSeq &) = delete;
    LentSeq &operator=(const LentSeq &) = delete;
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    std::vector<DDS_Property_t> buffer;
};

const CapturedEntry *findEntry(const propqos_test::LogCapture &log, const std::string &templateId)
{
    for (const CapturedEntry &entry : log.entries()) {
        if (entry.templateId == templateId) {
            return &entry;
        }
    }
    return nullptr;
}

TEST_F(ExtractionTest, GetAndAppendSelectByAnchoredCaseSensitivePrefix)
{
    ScopedPolicy policy{{"dds.transport.UDPv4.builtin.ttl", "4"},
                        {"my.dds.transport.x", "no"},
                        {"dds.sec.auth.x", "a"},
                        {"DDS.TRANSPORT.upper", "no"},
                        {"dds.transport.shmem.enabled", "1"}};

    // An empty prefix selects every property, in order, propagate flags included.
    policy.policy.value._contiguous_buffer[2].propagate = DDS_BOOLEAN_TRUE;
    ScopedSeq all;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, all.get(), ""), DDS_RETCODE_OK);
    EXPECT_EQ(contents(all.get()),
              (Texts{"dds.transport.UDPv4.builtin.ttl=4", "my.dds.transport.x=no",
                     "dds.sec.auth.x=a", "DDS.TRANSPORT.upper=no", "dds.transport.shmem.enabled=1"}));
    EXPECT_EQ(all.at(2).propagate, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(all.at(0).propagate, DDS_BOOLEAN_FALSE);
    // An owning output is made as roomy as the source's storage, not just its length.
    ASSERT_GT(DDS_PropertySeq_get_maximum(&policy.policy.value), policy.size());
    EXPECT_EQ(DDS_PropertySeq_get_maximum(all.get()), DDS_PropertySeq_get_maximum(&policy.policy.value));

    // The match is anchored at the name's start and respects letter case; the output's former
    // elements are replaced.
    ScopedSeq out;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), ""), DDS_RETCODE_OK);
    ASSERT_EQ(out.size(), 5);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), "dds.transport"),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()),
              (Texts{"dds.transport.UDPv4.builtin.ttl=4", "dds.transport.shmem.enabled=1"}));
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), "DDS.SEC"),
              DDS_RETCODE_OK);
    EXPECT_EQ(out.size(), 0);

    // Appending keeps what the output held and adds after it.
    ScopedSeq held;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, held.get(), "dds."),
              DDS_RETCODE_OK);
    ASSERT_EQ(held.size(), 3);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_append_properties(&policy, held.get(), "dds.transport."),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(held.get()),
              (Texts{"dds.transport.UDPv4.builtin.ttl=4", "dds.sec.auth.x=a",
                     "dds.transport.shmem.enabled=1", "dds.transport.UDPv4.builtin.ttl=4",
                     "dds.transport.shmem.enabled=1"}));
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_append_properties(&policy, held.get(), "nothing"),
              DDS_RETCODE_OK);
    EXPECT_EQ(held.size(), 5);

    // The copies are deep: the output outlives changes to the source.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_remove_property(&policy, "dds.sec.auth.x"), DDS_RETCODE_OK);
    EXPECT_STREQ(held.at(1).value, "a");
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(ExtractionTest, EngineCaseAndPrefixSettings)
{
    ScopedPolicy policy{{"dds.sec.auth.x", "a"},
                        {"DDS.Sec.Access.y", "b"},
                        {"xdds.sec.z", "c"},
                        {"dds.secure", "d"}};
    // Names lacking text are never selected.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "dds.sec.blank", "e",
                                                       DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    DDS_String_free(policy.policy.value._contiguous_buffer[4].name);
    policy.policy.value._contiguous_buffer[4].name = nullptr;

    ScopedSeq out;
    // Case ignored, names kept whole (the setting used by name validation).
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_propertiesI(&policy, out.get(), "DDS.SEC.", "caller",
                                                          1, 1, 0),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()), (Texts{"dds.sec.auth.x=a", "DDS.Sec.Access.y=b"}));
    // Case ignored, the prefix stripped under the same rule.
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_propertiesI(&policy, out.get(), "dds.SEC.", "caller",
                                                          0, 1, 0),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()), (Texts{"auth.x=a", "Access.y=b"}));
    // Case respected, prefix stripped, appended.
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_propertiesI(&policy, out.get(), "dds.sec", "caller",
                                                          0, 0, 1),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()), (Texts{"auth.x=a", "Access.y=b", ".auth.x=a", "ure=d"}));
    // An empty prefix with case ignored selects every named property too.
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_propertiesI(&policy, out.get(), "", "caller", 1, 1, 0),
              DDS_RETCODE_OK);
    EXPECT_EQ(out.size(), 4);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(ExtractionTest, LentStorageTooSmallRunsOutOfSpace)
{
    ScopedPolicy policy{{"a.1", "x"}, {"b.1", "skip"}, {"a.2", "y"}, {"a.3", "z"}};
    {
        LentSeq lent(2);
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, &lent.seq, "a."),
                  DDS_RETCODE_OUT_OF_RESOURCES);
        expectOnlyEntry(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"sequence out of space"});
        EXPECT_EQ(log.entries()[0].function, kGet);
        EXPECT_EQ(contents(&lent.seq), (Texts{"a.1=x", "a.2=y"}));
        EXPECT_EQ(DDS_PropertySeq_get_maximum(&lent.seq), 2);
    }
    {
        // Lent storage large enough: no growth needed, nothing reported.
        LentSeq lent(3);
        log.clear();
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, &lent.seq, "a."),
                  DDS_RETCODE_OK);
        EXPECT_EQ(contents(&lent.seq), (Texts{"a.1=x", "a.2=y", "a.3=z"}));
        // Appending to it when full cannot raise its maximum.
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_append_properties(&policy, &lent.seq, "b."),
                  DDS_RETCODE_ERROR);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_SET_FAILURE_s", {"maximum"});
        EXPECT_EQ(log.entries()[0].function, kAppend);
        EXPECT_EQ(lent.seq._length, 3u);
    }
}

TEST_F(ExtractionTest, WithoutPrefixStripsAndEndsWithThePrefixEntry)
{
    ScopedPolicy policy{{"dds.transport.UDPv4.builtin.parent.message_size_max", "65507"},
                        {"dds.transport.shmem.builtin.received_message_count_max", "64"},
                        {"dds.transport.UDPv4.builtin.send_socket_buffer_size", "131072"},
                        {"DDS.TRANSPORT.UDPV4.BUILTIN.ttl", "4"}};
    const Texts expected = {"parent.message_size_max=65507", "send_socket_buffer_size=131072",
                            "prefix=dds.transport.UDPv4.builtin."};
    for (const char *prefix : {"dds.transport.UDPv4.builtin", "dds.transport.UDPv4.builtin."}) {
        SCOPED_TRACE(prefix);
        ScopedSeq out;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, out.get(),
                                                                            prefix, DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
        EXPECT_EQ(contents(out.get()), expected);
        EXPECT_EQ(out.at(2).propagate, DDS_BOOLEAN_FALSE);
    }

    // Letter case ignored: the upper-case name is selected too and keeps its own spelling after
    // the prefix; the prefix entry holds the prefix as the caller spelled it.
    ScopedSeq caseless;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, caseless.get(), "Dds.Transport.Udpv4.Builtin", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(caseless.get()),
              (Texts{"parent.message_size_max=65507", "send_socket_buffer_size=131072", "ttl=4",
                     "prefix=Dds.Transport.Udpv4.Builtin."}));

    ScopedPolicy security{{"dds.sec.auth.x", "1"}};
    ScopedSeq none;
    ScopedSeq some;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&security, none.get(), "DDS.SEC"),
              DDS_RETCODE_OK);
    EXPECT_EQ(none.size(), 0);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&security, some.get(),
                                                                        "DDS.SEC", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(some.get()), (Texts{"auth.x=1", "prefix=DDS.SEC."}));

    // No match: exactly the prefix entry, replacing what the output held. An empty prefix
    // becomes ".".
    ScopedSeq lone;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, lone.get(), ""), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, lone.get(),
                                                                        "no.such", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(lone.get()), (Texts{"prefix=no.such."}));
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, lone.get(), "",
                                                                        DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(lone.get()), (Texts{"prefix=."}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The prefix entry follows even a failed extraction; it is left out only when it does not fit.
    LentSeq lent(2);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, &lent.seq, "dds.transport", DDS_BOOLEAN_TRUE),
              DDS_RETCODE_OUT_OF_RESOURCES);
    ASSERT_EQ(log.size(), 2u) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"sequence out of space"}));
    EXPECT_EQ(log.entries()[0].function, kWithout);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE",
                             {"Prefix property"}));
    EXPECT_EQ(contents(&lent.seq),
              (Texts{"UDPv4.builtin.parent.message_size_max=65507",
                     "shmem.builtin.received_message_count_max=64"}));
}

TEST_F(ExtractionTest, WithoutPrefixBoundsOfThePrefixBuffer)
{
    ScopedPolicy policy{{"p", "v"}};
    // 1022 characters and the added "." fill the 1023 characters exactly.
    const std::string longest(1022, 'a');
    ScopedSeq out;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, out.get(), longest.c_str(), DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()), (Texts{"prefix=" + longest + "."}));
    const std::string longestWithDot = longest + "a.";
    ASSERT_EQ(longestWithDot.size(), 1024u);
    const std::string fullWithDot = longest + ".";
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, out.get(), fullWithDot.c_str(), DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()), (Texts{"prefix=" + fullWithDot}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // One more character leaves no room for the "."; two more, none for the prefix itself.
    // Either way the output is left alone.
    const std::string noRoomForDot(1023, 'a');
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, out.get(), noRoomForDot.c_str(), DDS_BOOLEAN_FALSE),
              DDS_RETCODE_ERROR);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_ADD_TEMPLATE", {"'.' to the prefix name"});
    EXPECT_EQ(log.entries()[0].function, kWithout);
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
                  &policy, out.get(), longestWithDot.c_str(), DDS_BOOLEAN_FALSE),
              DDS_RETCODE_ERROR);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE", {"Prefix name"});
    EXPECT_EQ(contents(out.get()), (Texts{"prefix=" + fullWithDot}));
}

TEST_F(ExtractionTest, NullArgumentsOfEngineAndUsers)
{
    ScopedPolicy policy{{"a.x", "1"}};
    ScopedSeq out;
    struct Case {
        const DDS_PropertyQosPolicy *policy;
        DDS_PropertySeq *properties;
        const char *prefix;
        const char *test;
    };
    for (Case c : {Case{nullptr, nullptr, nullptr, "policy == ((void *)0)"},
                   Case{&policy.policy, nullptr, nullptr, "properties == ((void *)0)"},
                   Case{&policy.policy, out.get(), nullptr, "name_prefix == ((void *)0)"}}) {
        SCOPED_TRACE(c.test);
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_propertiesI(c.policy, c.properties, c.prefix,
                                                              "caller", 1, 0, 0),
                  DDS_RETCODE_BAD_PARAMETER);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {std::string("\"") + c.test + "\""});
        expectPrecondition(c.test);
        // Preconditions are filed under the engine's own name, not the caller's.
        EXPECT_EQ(log.entries()[0].function, "DDS_PropertyQosPolicyHelper_get_propertiesI");
    }
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_append_properties(nullptr, out.get(), "a"),
              DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(log.size(), 2u) << log.dump();

    // Without prefix: a null prefix is refused before use and the output left alone; a null
    // policy fails in the engine, after which the prefix entry is still added.
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, out.get(), nullptr,
                                                                        DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectPrecondition("name_prefix == ((void *)0)");
    EXPECT_EQ(out.size(), 0);
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(nullptr, out.get(), "a",
                                                                        DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"policy == ((void *)0)\""});
    EXPECT_EQ(contents(out.get()), (Texts{"prefix=a."}));
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, nullptr, "a",
                                                                        DDS_BOOLEAN_TRUE),
              DDS_RETCODE_BAD_PARAMETER);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"properties == ((void *)0)\""});

    // Into a policy: plain error entries, checked in order, no precondition raised.
    ScopedPolicy outPolicy;
    struct IntoCase {
        const DDS_PropertyQosPolicy *policy;
        DDS_PropertyQosPolicy *outPolicy;
        const char *name;
        const char *text;
    };
    for (IntoCase c : {IntoCase{nullptr, nullptr, nullptr, "policy.\n"},
                       IntoCase{&policy.policy, nullptr, nullptr, "outPolicy.\n"},
                       IntoCase{&policy.policy, &outPolicy.policy, nullptr, "outPropertiesName.\n"}}) {
        SCOPED_TRACE(c.text);
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        const unsigned hits = ZynLog_g_assertBreakpointCount;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_into_policy(c.policy, c.outPolicy, c.name),
                  DDS_RETCODE_BAD_PARAMETER);
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_BAD_PARAMETER_FAILURE_TEMPLATE", {c.text});
        EXPECT_EQ(ZynLog_g_preconditionDetected, 0);
        EXPECT_EQ(ZynLog_g_assertBreakpointCount, hits);
    }
    EXPECT_EQ(outPolicy.size(), 0);
}

TEST_F(ExtractionTest, TrustPluginSetInItsOrder)
{
    ScopedPolicy policy{{"com.plugin.auth.ca", "ca.pem"},
                        {"dds.sec.access.governance", "gov.xml"},
                        {"COM.PLUGIN.key", "k"},
                        {"other.x", "o"},
                        {"DDS.SEC.upper", "skipped"},
                        {"dds.sec.auth.identity", "id.pem"}};
    ScopedSeq out;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&policy, out.get(),
                                                                    "com.plugin", nullptr),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()),
              (Texts{"auth.ca=ca.pem", "key=k", "prefix=com.plugin.",
                     "dds.sec.access.governance=gov.xml", "dds.sec.auth.identity=id.pem"}));

    // A property under both prefixes is there twice.
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&policy, out.get(),
                                                                    "dds.sec.auth", nullptr),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(out.get()),
              (Texts{"identity=id.pem", "prefix=dds.sec.auth.",
                     "dds.sec.access.governance=gov.xml", "dds.sec.auth.identity=id.pem"}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The second step failing: lent storage filled by the first one cannot take "dds.sec.".
    LentSeq lent(3);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&policy, &lent.seq,
                                                                    "com.plugin", nullptr),
              DDS_RETCODE_ERROR);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_SET_FAILURE_s", {"maximum"})) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_ADD_TEMPLATE",
                             {"\"dds.sec.\" prefix to the security properties.\n"}))
        << log.dump();
    EXPECT_EQ(log.size(), 2u) << log.dump();
    EXPECT_EQ(contents(&lent.seq), (Texts{"auth.ca=ca.pem", "key=k", "prefix=com.plugin."}));

    // A null prefix: refused by the first step, and named as NULL in the report.
    log.clear();
    ScopedSeq untouched;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&policy, untouched.get(),
                                                                    nullptr, nullptr),
              DDS_RETCODE_BAD_PARAMETER);
    expectPrecondition("name_prefix == ((void *)0)");
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_GET_TEMPLATE",
                             {"Properties without prefix NULL for security plugin."}))
        << log.dump();
    EXPECT_EQ(untouched.size(), 0);
}

TEST_F(ExtractionTest, TrustPluginEntriesFollowTheMasksOrTheWorker)
{
    const unsigned savedCategory = ZynLog_g_categoryMask[ZYN_LOG_LEVEL_ERROR];
    VorlActivityContext context{0x4};
    VorlWorker withContext{"worker", &context};
    VorlWorker withoutContext{"idle", nullptr};
    struct Case {
        const char *what;
        unsigned instrumentation;
        unsigned submodule;
        unsigned category;
        const VorlWorker *worker;
        bool written;
    };
    const Case cases[] = {
        {"masks allow, no worker", ZYN_LOG_VERBOSITY_ERROR, 0xFFFFFFFFu, 0x0, nullptr, true},
        {"masks off, no worker", 0, 0xFFFFFFFFu, 0xFFFFFFFFu, nullptr, false},
        {"masks off, worker without activity", 0, 0xFFFFFFFFu, 0xFFFFFFFFu, &withoutContext, false},
        {"masks off, no shared category", 0, 0xFFFFFFFFu, 0x3, &withContext, false},
        {"masks off, shared category", 0, 0xFFFFFFFFu, 0x6, &withContext, true},
        {"submodule off, shared category", ZYN_LOG_VERBOSITY_WARNING, 0x0, 0x4, &withContext, true},
        {"submodule off, no worker", ZYN_LOG_VERBOSITY_WARNING, ~unsigned{DDS_SUBMODULE_MASK_PROPERTY},
         0x4, nullptr, false},
    };
    ScopedPolicy policy{{"com.plugin.a", "1"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        log.clear();
        DDSLog_g_instrumentationMask = c.instrumentation;
        DDSLog_g_submoduleMask = c.submodule;
        ZynLog_g_categoryMask[ZYN_LOG_LEVEL_ERROR] = c.category;
        ScopedSeq out;
        // A null policy fails the first step; its precondition entry follows the masks alone.
        const DDS_ReturnCode_t result =
            DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(nullptr, out.get(), "com.plugin", c.worker);
        DDSLog_g_instrumentationMask = ZYN_LOG_VERBOSITY_WARNING;
        DDSLog_g_submoduleMask = 0xFFFFFFFFu;
        ZynLog_g_categoryMask[ZYN_LOG_LEVEL_ERROR] = savedCategory;

        EXPECT_EQ(result, DDS_RETCODE_BAD_PARAMETER);
        const CapturedEntry *entry = findEntry(log, "ZYN_LOG_FAILED_TO_GET_TEMPLATE");
        EXPECT_EQ(entry != nullptr, c.written) << log.dump();
        if (entry != nullptr) {
            EXPECT_EQ(entry->level, ZYN_LOG_LEVEL_ERROR);
            EXPECT_EQ(entry->args, Texts{"Properties without prefix com.plugin for security plugin."});
            EXPECT_EQ(entry->function, "DDS_PropertyQosPolicyHelper_getTrustPluginsProperties");
        }
        const bool masksAllow = (c.instrumentation & ZYN_LOG_LEVEL_PRECONDITION) != 0 &&
                                (c.submodule & DDS_SUBMODULE_MASK_PROPERTY) != 0;
        EXPECT_EQ(log.count("ZYN_LOG_PRECONDITION_FAILURE_s"), masksAllow ? 1u : 0u) << log.dump();
    }
}

TEST_F(ExtractionTest, IntoPolicyRenamesAndResizesTheOutPolicy)
{
    ScopedPolicy outPolicy{{"o1", "v"}, {"o2", "v"}, {"o3", "v"}, {"o4", "v"}, {"o5", "v"}};
    for (DDS_Long i = 0; i < 5; ++i) {
        outPolicy.policy.value._contiguous_buffer[i].propagate = DDS_BOOLEAN_TRUE;
    }
    // Five elements down to the two matches, full names case-sensitive; the out elements keep
    // their own propagate flags.
    ScopedPolicy two{{"t.p.first", "1"}, {"t.q", "no"}, {"T.P.upper", "no"}, {"t.p.second", "2"}};
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_into_policy(&two, &outPolicy, "t.p"),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(&outPolicy.policy.value), (Texts{"first=1", "second=2"}));
    EXPECT_EQ(outPolicy.at(0).propagate, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(outPolicy.at(1).propagate, DDS_BOOLEAN_TRUE);

    // The prefix and the one character after it are dropped, whatever that character is; a
    // name that ends with the prefix gives an empty name. Elements added by growing start
    // without the flag.
    ScopedPolicy policy{{"a.b.x", "1"}, {"other", "2"}, {"a.b", "3"}, {"a.bcy", "4"},
                        {"A.B.upper", "5"}};
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_into_policy(&policy, &outPolicy, "a.b"),
              DDS_RETCODE_OK);
    EXPECT_EQ(contents(&outPolicy.policy.value), (Texts{"x=1", "=3", "y=4"}));
    EXPECT_EQ(outPolicy.at(0).propagate, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(outPolicy.at(2).propagate, DDS_BOOLEAN_FALSE);

    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties_into_policy(&policy, &outPolicy, "none"),
              DDS_RETCODE_OK);
    EXPECT_EQ(outPolicy.size(), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

// ---- allocation failures ----

TEST_F(ExtractionTest, GetAndAppendUnderAllocationFailures)
{
    ScopedPolicy policy{{"a.1", "x"}, {"b.1", "skip"}, {"a.2", "y"}};
    for (bool append : {false, true}) {
        SCOPED_TRACE(append ? "append" : "get");
        std::set<std::string> seen;
        sweepAllocationFailures([&](long k) {
            ScopedSeq out;
            if (append) {
                // Full to its maximum, below the source's: both the first raise and the
                // one-at-a-time growth allocate.
                EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), ""),
                          DDS_RETCODE_OK);
                EXPECT_TRUE(DDS_PropertySeq_set_maximum(out.get(), 3));
            }
            log.clear();
            DDS_ReturnCode_t result;
            {
                FailAfter armed(k);
                result = append ? DDS_PropertyQosPolicyHelper_append_properties(&policy, out.get(), "a.")
                                : DDS_PropertyQosPolicyHelper_get_properties(&policy, out.get(), "a.");
            }
            const Texts wanted = append ? Texts{"a.1=x", "b.1=skip", "a.2=y", "a.1=x", "a.2=y"}
                                        : Texts{"a.1=x", "a.2=y"};
            if (result == DDS_RETCODE_OK) {
                EXPECT_EQ(log.size(), 0u) << log.dump();
                EXPECT_EQ(contents(out.get()), wanted);
                return true;
            }
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            if (log.size() != 1u) {
                ADD_FAILURE() << "allocation " << k << ":\n" << log.dump();
                return false;
            }
            const CapturedEntry &entry = log.entries()[0];
            EXPECT_EQ(entry.level, ZYN_LOG_LEVEL_ERROR);
            EXPECT_EQ(entry.function, append ? kAppend : kGet);
            seen.insert(entry.templateId + ":" + entry.args.at(0));
            // Nothing is rolled back: what was copied stays, and the length counts the element
            // whose copy failed.
            const Texts got = contents(out.get());
            for (size_t i = 0; i < got.size(); ++i) {
                if (i + 1 < got.size() || entry.args.at(0) != "copy") {
                    EXPECT_EQ(got[i], wanted.at(i));
                } else {
                    EXPECT_EQ(got[i], "(null)=(null)");
                }
            }
            return false;
        });
        EXPECT_EQ(seen, (std::set<std::string>{"DDS_LOG_SET_FAILURE_s:maximum",
                                               "ZYN_LOG_ANY_FAILURE_s:copy"}));
    }
}

TEST_F(ExtractionTest, WithoutPrefixUnderAllocationFailuresUndoesThePrefixEntry)
{
    // Every property matches and the source is full, so that the prefix entry needs the output
    // to grow once more after the engine has succeeded.
    ScopedPolicy policy{{"p.a", "1"}, {"p.b", "2"}, {"p.c", "3"}, {"p.d", "4"}};
    ASSERT_EQ(DDS_PropertySeq_get_maximum(&policy.policy.value), 4);
    const Texts matches = {"a=1", "b=2", "c=3", "d=4"};
    std::set<std::string> warnings;
    sweepAllocationFailures([&](long k) {
        ScopedSeq out;
        log.clear();
        DDS_ReturnCode_t result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_get_properties_without_prefix(&policy, out.get(),
                                                                               "P", DDS_BOOLEAN_TRUE);
        }
        Texts got = contents(out.get());
        if (result == DDS_RETCODE_OK && log.size() == 0u) {
            Texts wanted = matches;
            wanted.push_back("prefix=P.");
            EXPECT_EQ(got, wanted);
            return true;
        }
        // Once an allocation has failed every later one fails, so the prefix entry is never
        // added: exactly one warning about it, and an undo back to the engine's output.
        const CapturedEntry &last = log.entries().back();
        EXPECT_EQ(last.level, ZYN_LOG_LEVEL_WARNING) << log.dump();
        warnings.insert(last.templateId + ":" + last.args.at(0));
        EXPECT_TRUE(got.empty() || got.back() != "prefix=P.");
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(log.size(), 1u) << log.dump();
            EXPECT_EQ(got, matches);
        } else {
            EXPECT_EQ(result, DDS_RETCODE_ERROR);
            EXPECT_EQ(log.size(), 2u) << log.dump();
            EXPECT_EQ(log.entries()[0].level, ZYN_LOG_LEVEL_ERROR);
            EXPECT_EQ(log.entries()[0].function, kWithout);
        }
        return false;
    });
    EXPECT_EQ(warnings, (std::set<std::string>{
                            "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE:Prefix property",
                            "ZYN_LOG_FAILED_TO_ADD_TEMPLATE:Name of the prefix property",
                            "ZYN_LOG_FAILED_TO_ADD_TEMPLATE:Value of the prefix property"}));
}

TEST_F(ExtractionTest, TrustPluginSetUnderAllocationFailures)
{
    ScopedPolicy policy{{"com.plugin.a", "1"}, {"dds.sec.b", "2"}};
    std::set<std::string> reports;
    sweepAllocationFailures([&](long k) {
        ScopedSeq out;
        log.clear();
        DDS_ReturnCode_t result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&policy, out.get(),
                                                                           "com.plugin", nullptr);
        }
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(log.size(), 0u) << log.dump();
            EXPECT_EQ(contents(out.get()), (Texts{"a=1", "prefix=com.plugin.", "dds.sec.b=2"}));
            return true;
        }
        EXPECT_EQ(result, DDS_RETCODE_ERROR);
        const CapturedEntry &last = log.entries().back();
        EXPECT_EQ(last.level, ZYN_LOG_LEVEL_ERROR);
        EXPECT_EQ(last.function, "DDS_PropertyQosPolicyHelper_getTrustPluginsProperties");
        reports.insert(last.templateId);
        return false;
    });
    EXPECT_EQ(reports, (std::set<std::string>{"ZYN_LOG_FAILED_TO_GET_TEMPLATE",
                                              "ZYN_LOG_FAILED_TO_ADD_TEMPLATE"}));
}

TEST_F(ExtractionTest, IntoPolicyUnderAllocationFailures)
{
    ScopedPolicy policy{{"q.first", "1"}, {"q.second", "2"}, {"r", "3"}};
    std::set<std::string> reports;
    sweepAllocationFailures([&](long k) {
        // No spare room, so that resizing the out policy allocates.
        ScopedPolicy outPolicy{{"old", "v"}};
        EXPECT_TRUE(DDS_PropertySeq_set_maximum(&outPolicy.policy.value, 1));
        log.clear();
        DDS_ReturnCode_t result;
        {
            FailAfter armed(k);
            result = DDS_PropertyQosPolicyHelper_get_properties_into_policy(&policy, &outPolicy, "q");
        }
        if (result == DDS_RETCODE_OK) {
            EXPECT_EQ(log.size(), 0u) << log.dump();
            EXPECT_EQ(contents(&outPolicy.policy.value), (Texts{"first=1", "second=2"}));
            return true;
        }
        EXPECT_EQ(result, DDS_RETCODE_ERROR);
        const CapturedEntry &last = log.entries().back();
        EXPECT_EQ(last.level, ZYN_LOG_LEVEL_ERROR);
        reports.insert(last.templateId + ":" + last.args.at(0));
        if (last.templateId == "ZYN_LOG_FAILED_TO_GET_TEMPLATE") {
            // The extraction's own entry comes first, filed under get_properties.
            EXPECT_EQ(log.size(), 2u) << log.dump();
            EXPECT_EQ(log.entries()[0].function, kGet);
            EXPECT_EQ(contents(&outPolicy.policy.value), Texts{"old=v"});
        } else {
            EXPECT_EQ(log.size(), 1u) << log.dump();
        }
        if (last.templateId == "ZYN_LOG_FAILED_TO_COPY_TEMPLATE") {
            // The out policy already has its final length.
            EXPECT_EQ(outPolicy.size(), 2);
        }
        return false;
    });
    EXPECT_EQ(reports, (std::set<std::string>{
                           "ZYN_LOG_FAILED_TO_GET_TEMPLATE:properties for the suffix q.\n",
                           "ZYN_LOG_FAILED_TO_SET_TEMPLATE:length to the properties sequence for "
                           "the suffix q.\n",
                           "ZYN_LOG_FAILED_TO_COPY_TEMPLATE:Property name 'first' with the suffix "
                           "'q'.\n",
                           "ZYN_LOG_FAILED_TO_COPY_TEMPLATE:Property value '1' with the suffix "
                           "'q'.\n",
                           "ZYN_LOG_FAILED_TO_COPY_TEMPLATE:Property name 'second' with the "
                           "suffix 'q'.\n",
                           "ZYN_LOG_FAILED_TO_COPY_TEMPLATE:Property value '2' with the suffix "
                           "'q'.\n"}));
}

}  // namespace
