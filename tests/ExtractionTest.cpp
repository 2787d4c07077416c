// Extraction by prefix: the engine, get / append / without prefix, the security plug-ins' set and
// extraction into a second policy.
#include <set>
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;
using Texts = std::vector<std::string>;

constexpr auto engine = DDS_PropertyQosPolicyHelper_get_propertiesI;
constexpr auto get = DDS_PropertyQosPolicyHelper_get_properties;
constexpr auto append = DDS_PropertyQosPolicyHelper_append_properties;
constexpr auto without = DDS_PropertyQosPolicyHelper_get_properties_without_prefix;
constexpr auto trust = DDS_PropertyQosPolicyHelper_getTrustPluginsProperties;
constexpr auto into = DDS_PropertyQosPolicyHelper_get_properties_into_policy;
const std::string kGet = "DDS_PropertyQosPolicyHelper_get_properties";
const std::string kAppend = "DDS_PropertyQosPolicyHelper_append_properties";
const std::string kWithout = "DDS_PropertyQosPolicyHelper_get_properties_without_prefix";
const std::string kTrust = "DDS_PropertyQosPolicyHelper_getTrustPluginsProperties";
const std::string kPrecondition = "ZYN_LOG_PRECONDITION_FAILURE_s";

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
Texts contents(ScopedSeq &seq) { return contents(seq.get()); }
Texts contents(ScopedPolicy &policy) { return contents(&policy.policy.value); }
// "template:first argument" of an entry.
std::string report(const CapturedEntry &e) { return e.templateId + ":" + e.args.at(0); }

// Storage lent by the test, zero-filled; whatever strings the module left in it are released.
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
    DDS_PropertySeq seq = DDS_SEQUENCE_INITIALIZER;
    std::vector<DDS_Property_t> buffer;
};

class ExtractionTest : public ModuleTest {};

TEST_F(ExtractionTest, SelectionByPrefixAndTheEngineSettings)
{
    ScopedPolicy policy{{"dds.transport.UDPv4.builtin.ttl", "4"}, {"my.dds.transport.x", "no"},
                        {"dds.sec.auth.x", "a"}, {"dds.transport.shmem.enabled", "1"},
                        {"DDS.Sec.Access.y", "b"}, {"dds.secure", "d"}, {"dds.sec.blank", "e"}};
    // Names lacking text are never selected.
    DDS_String_free(policy.policy.value._contiguous_buffer[6].name);
    policy.policy.value._contiguous_buffer[6].name = nullptr;
    // "" selects all, in order, flags included, into an output as roomy as the source's storage.
    policy.policy.value._contiguous_buffer[2].propagate = DDS_BOOLEAN_TRUE;
    ScopedSeq out;
    EXPECT_EQ(get(&policy, out.get(), ""), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"dds.transport.UDPv4.builtin.ttl=4", "my.dds.transport.x=no",
                                    "dds.sec.auth.x=a", "dds.transport.shmem.enabled=1",
                                    "DDS.Sec.Access.y=b", "dds.secure=d"}));
    EXPECT_TRUE(out.at(2).propagate && !out.at(0).propagate);
    const DDS_Long roomy = DDS_PropertySeq_get_maximum(&policy.policy.value);
    ASSERT_GT(roomy, policy.size());
    EXPECT_EQ(DDS_PropertySeq_get_maximum(out.get()), roomy);

    // Anchored at the name's start, letter case respected; the former elements are replaced.
    EXPECT_EQ(get(&policy, out.get(), "dds.transport"), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out),
              (Texts{"dds.transport.UDPv4.builtin.ttl=4", "dds.transport.shmem.enabled=1"}));
    EXPECT_EQ(get(&policy, out.get(), "DDS.SEC"), DDS_RETCODE_OK);
    EXPECT_EQ(out.size(), 0);
    // Appending keeps what the output held and adds after it.
    ASSERT_EQ(get(&policy, out.get(), "dds.sec."), DDS_RETCODE_OK);
    EXPECT_EQ(append(&policy, out.get(), "dds.transport."), DDS_RETCODE_OK);
    EXPECT_EQ(append(&policy, out.get(), "nothing"), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"dds.sec.auth.x=a", "dds.transport.UDPv4.builtin.ttl=4",
                                    "dds.transport.shmem.enabled=1"}));

    // (keepPrefix, ignoreCase, appendToDst)
    EXPECT_EQ(engine(&policy, out.get(), "DDS.SEC.", "caller", 1, 1, 0), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"dds.sec.auth.x=a", "DDS.Sec.Access.y=b"}));
    EXPECT_EQ(engine(&policy, out.get(), "dds.SEC.", "caller", 0, 1, 0), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"auth.x=a", "Access.y=b"}));
    EXPECT_EQ(engine(&policy, out.get(), "dds.sec", "caller", 0, 0, 1), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"auth.x=a", "Access.y=b", ".auth.x=a", "ure=d"}));

    // The copies are deep: the output outlives changes to the source.
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_remove_property(&policy, "dds.sec.auth.x"), 0);
    EXPECT_STREQ(out.at(0).value, "a");
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

// Sources larger than the engine's window of work (256 elements), their copies' strings carved
// per window: the selection, the order, the limit of lent storage and appending onto a full
// output hold across windows, a value too long to share a block gets its own, and every copied
// string can be released alone, in any order (the fixture checks the heap).
TEST_F(ExtractionTest, LargeSourcesAcrossWindowsAndStringsReleasedAlone)
{
    ScopedPolicy policy;
    Texts expected;
    const std::string longValue(3000, 'v');
    for (int i = 0; i < 1000; ++i) {
        const bool selected = i % 3 != 1;
        const std::string name = (selected ? "app.s" : "other.s") + std::to_string(i);
        const std::string value = i == 700 ? longValue : "v" + std::to_string(i);
        DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), value.c_str(), 0);
        if (selected) {
            expected.push_back(name + "=" + value);
        }
    }
    ScopedSeq out;
    ASSERT_EQ(get(&policy, out.get(), "app."), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), expected);
    // Appending onto a full output raises its maximum one element at a time.
    ASSERT_TRUE(DDS_PropertySeq_set_maximum(out.get(), out.size()));
    ASSERT_EQ(append(&policy, out.get(), "app."), DDS_RETCODE_OK);
    Texts twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    EXPECT_EQ(contents(out), twice);
    EXPECT_EQ(DDS_PropertySeq_get_maximum(out.get()), out.size());
    for (DDS_Long i = out.size() - 1; i >= 0; i -= 7) {
        DDS_Property_t *element = DDS_PropertySeq_get_reference(out.get(), i);
        DDS_String_free(element->value);
        element->value = DDS_String_dup("replaced");
    }
    for (DDS_Long i = 3; i < out.size(); i += 5) {
        DDS_String_free(DDS_PropertySeq_get_reference(out.get(), i)->name);
        DDS_PropertySeq_get_reference(out.get(), i)->name = nullptr;
    }

    // Lent storage too small: the matches up to its end, then the warning.
    LentSeq lent(300);
    log.clear();
    EXPECT_EQ(without(&policy, &lent.seq, "app", 0), DDS_RETCODE_OUT_OF_RESOURCES);
    const Texts firstOnes = contents(&lent.seq);
    ASSERT_EQ(firstOnes.size(), 300u);
    EXPECT_EQ(firstOnes[299], expected[299].substr(4));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"sequence out of space"}));
}

TEST_F(ExtractionTest, WithoutPrefixStripsAndEndsWithThePrefixEntry)
{
    ScopedPolicy policy{{"dds.transport.UDPv4.builtin.parent.message_size_max", "65507"},
                        {"dds.transport.shmem.builtin.received_message_count_max", "64"},
                        {"dds.transport.UDPv4.builtin.send_socket_buffer_size", "131072"},
                        {"DDS.TRANSPORT.UDPV4.BUILTIN.ttl", "4"}};
    const std::string a = "parent.message_size_max=65507", b = "send_socket_buffer_size=131072";
    for (const char *prefix : {"dds.transport.UDPv4.builtin", "dds.transport.UDPv4.builtin."}) {
        ScopedSeq out;
        EXPECT_EQ(without(&policy, out.get(), prefix, DDS_BOOLEAN_FALSE), DDS_RETCODE_OK);
        EXPECT_EQ(contents(out), (Texts{a, b, "prefix=dds.transport.UDPv4.builtin."})) << prefix;
        EXPECT_EQ(out.at(2).propagate, DDS_BOOLEAN_FALSE);
    }
    // Case ignored: names keep their spelling after the prefix, the entry the caller's prefix.
    ScopedSeq out;
    EXPECT_EQ(without(&policy, out.get(), "Dds.Transport.Udpv4.Builtin", 1), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{a, b, "ttl=4", "prefix=Dds.Transport.Udpv4.Builtin."}));
    // No match: only the prefix entry, replacing what the output held; "" becomes ".".
    EXPECT_EQ(without(&policy, out.get(), "no.such", 1), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"prefix=no.such."}));
    EXPECT_EQ(without(&policy, out.get(), "", 0), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"prefix=."}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // Lent storage too small: out of space with the first two matches; the prefix entry follows
    // even a failed extraction, unless it does not fit.
    LentSeq lent(2);
    EXPECT_EQ(without(&policy, &lent.seq, "dds.transport", 1), DDS_RETCODE_OUT_OF_RESOURCES);
    ASSERT_EQ(log.size(), 2u) << log.dump();
    EXPECT_EQ(log.entries()[0].function, kWithout);
    EXPECT_TRUE(
        log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_ANY_FAILURE_s", {"sequence out of space"}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_WARNING, "ZYN_LOG_FAILED_TO_ALLOCATE_TEMPLATE",
                             {"Prefix property"}));
    EXPECT_EQ(contents(&lent.seq), (Texts{"UDPv4.builtin.parent.message_size_max=65507",
                                          "shmem.builtin.received_message_count_max=64"}));
    EXPECT_EQ(DDS_PropertySeq_get_maximum(&lent.seq), 2);
}

TEST_F(ExtractionTest, WithoutPrefixBoundsOfThePrefixBuffer)
{
    ScopedPolicy policy{{"p", "v"}};
    // 1022 characters and the added "." fill the 1023 exactly, as do 1023 ending with ".".
    const std::string full = std::string(1022, 'a') + ".";
    for (const std::string &prefix : {full.substr(0, 1022), full}) {
        ScopedSeq out;
        EXPECT_EQ(without(&policy, out.get(), prefix.c_str(), 0), DDS_RETCODE_OK);
        EXPECT_EQ(contents(out), (Texts{"prefix=" + full}));
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
    // One more leaves no room for the ".", two more none for the prefix; the output is kept.
    ScopedSeq out;
    ASSERT_EQ(get(&policy, out.get(), ""), DDS_RETCODE_OK);
    const std::pair<std::string, const char *> tooLong[] = {
        {std::string(1023, 'a'), "ZYN_LOG_FAILED_TO_ADD_TEMPLATE:'.' to the prefix name"},
        {std::string(1023, 'a') + ".", "ZYN_LOG_FAILED_TO_INITIALIZE_TEMPLATE:Prefix name"}};
    for (const auto &[prefix, expected] : tooLong) {
        log.clear();
        EXPECT_EQ(without(&policy, out.get(), prefix.c_str(), 0), DDS_RETCODE_ERROR);
        ASSERT_EQ(log.size(), 1u) << log.dump();
        EXPECT_EQ(log.entries()[0].level, ZYN_LOG_LEVEL_ERROR);
        EXPECT_EQ(report(log.entries()[0]), expected);
        EXPECT_EQ(contents(out), Texts{"p=v"});
    }
}

TEST_F(ExtractionTest, AnOutputSharingThePolicysStorageIsRefused)
{
    // An output that is the policy's own sequence, or shares its storage, is refused before
    // anything is read or written, by every extraction and at every size.
    for (int count : {1, 3, 10000}) {
        ScopedPolicy own;
        for (int i = 0; i < count; ++i) {
            const std::string name = "dds.sec.a.x" + std::to_string(i);
            DDS_PropertyQosPolicyHelper_add_property(own.get(), name.c_str(), "v", 0);
        }
        const Texts before = contents(own);
        const DDS_Long maximum = DDS_PropertySeq_get_maximum(&own.get()->value);
        DDS_PropertySeq shared = DDS_SEQUENCE_INITIALIZER;
        ASSERT_TRUE(DDS_PropertySeq_loan_contiguous(&shared, own.get()->value._contiguous_buffer,
                                                    0, maximum));
        for (DDS_PropertySeq *alias : {&own.get()->value, &shared}) {
            const std::pair<std::string, DDS_ReturnCode_t> calls[] = {
                {kGet, get(own.get(), alias, "dds.")},
                {kAppend, append(own.get(), alias, "dds.")},
                {kWithout, without(own.get(), alias, "dds.sec.a", 1)},
                {kTrust, trust(own.get(), alias, "dds.sec.a", nullptr)}};
            for (const auto &[function, result] : calls) {
                EXPECT_EQ(result, DDS_RETCODE_BAD_PARAMETER) << function;
            }
            EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_PRECONDITION, kPrecondition,
                                     {"\"aliasesPolicy(properties, policy)\""}));
            EXPECT_EQ(contents(own), before);
            EXPECT_EQ(DDS_PropertySeq_get_maximum(&own.get()->value), maximum);
            log.clear();
        }
        DDS_PropertySeq_unloan(&shared);
    }
}

TEST_F(ExtractionTest, TrustPluginSetInItsOrder)
{
    ScopedPolicy policy{{"com.plugin.auth.ca", "ca.pem"}, {"dds.sec.access.governance", "gov.xml"},
                        {"COM.PLUGIN.key", "k"}, {"other.x", "o"}, {"DDS.SEC.upper", "skipped"},
                        {"dds.sec.auth.identity", "id.pem"}};
    const std::string governance = "dds.sec.access.governance=gov.xml";
    ScopedSeq out;
    EXPECT_EQ(trust(&policy, out.get(), "com.plugin", nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"auth.ca=ca.pem", "key=k", "prefix=com.plugin.", governance,
                                    "dds.sec.auth.identity=id.pem"}));
    // A property under both prefixes is there twice.
    EXPECT_EQ(trust(&policy, out.get(), "dds.sec.auth", nullptr), DDS_RETCODE_OK);
    EXPECT_EQ(contents(out), (Texts{"identity=id.pem", "prefix=dds.sec.auth.", governance,
                                    "dds.sec.auth.identity=id.pem"}));
    EXPECT_EQ(log.size(), 0u) << log.dump();

    // The second step failing: lent storage filled by the first one cannot take "dds.sec.".
    LentSeq lent(3);
    EXPECT_EQ(trust(&policy, &lent.seq, "com.plugin", nullptr), DDS_RETCODE_ERROR);
    EXPECT_EQ(log.size(), 2u) << log.dump();
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_SET_FAILURE_s", {"maximum"}));
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_ADD_TEMPLATE",
                             {"\"dds.sec.\" prefix to the security properties.\n"}));
    EXPECT_EQ(contents(&lent.seq), (Texts{"auth.ca=ca.pem", "key=k", "prefix=com.plugin."}));

    // A null prefix: refused by the first step, and named as NULL in the report.
    log.clear();
    ScopedSeq untouched;
    EXPECT_EQ(trust(&policy, untouched.get(), nullptr, nullptr), DDS_RETCODE_BAD_PARAMETER);
    expectPrecondition("name_prefix == ((void *)0)");
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_FAILED_TO_GET_TEMPLATE",
                             {"Properties without prefix NULL for security plugin."}));
    EXPECT_EQ(untouched.size(), 0);
}

TEST_F(ExtractionTest, IntoPolicyRenamesAndResizesTheOutPolicy)
{
    ScopedPolicy outPolicy{{"o1", "v"}, {"o2", "v"}, {"o3", "v"}, {"o4", "v"}, {"o5", "v"}};
    for (DDS_Long i = 0; i < 5; ++i) {
        outPolicy.policy.value._contiguous_buffer[i].propagate = DDS_BOOLEAN_TRUE;
    }
    // Five elements down to the two matches (case-sensitive); the flags stay the out policy's.
    ScopedPolicy two{{"t.p.first", "1"}, {"t.q", "no"}, {"T.P.upper", "no"}, {"t.p.second", "2"}};
    EXPECT_EQ(into(&two, &outPolicy, "t.p"), DDS_RETCODE_OK);
    EXPECT_EQ(contents(outPolicy), (Texts{"first=1", "second=2"}));
    EXPECT_TRUE(outPolicy.at(0).propagate && outPolicy.at(1).propagate);
    // The prefix and the one character after it are dropped, whatever it is; grown elements
    // start without the flag.
    ScopedPolicy policy{{"a.b.x", "1"}, {"o", "2"}, {"a.b", "3"}, {"a.bcy", "4"}, {"A.B.u", "5"}};
    EXPECT_EQ(into(&policy, &outPolicy, "a.b"), DDS_RETCODE_OK);
    EXPECT_EQ(contents(outPolicy), (Texts{"x=1", "=3", "y=4"}));
    EXPECT_TRUE(outPolicy.at(0).propagate && !outPolicy.at(2).propagate);
    EXPECT_EQ(into(&policy, &outPolicy, "none"), DDS_RETCODE_OK);
    EXPECT_EQ(outPolicy.size(), 0);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

// ---- allocation failures ----

}  // namespace
