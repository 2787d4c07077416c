// Saving a policy as XML with confidential values redacted, and the XML save helpers under it.
#include <pugixml.hpp>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

namespace {

using namespace propqos_test;
using Values = std::map<std::string, std::string>;
constexpr auto saveSeq = DDS_PropertySeq_saveRedactingConfidentialFields;

class SaveTest : public ModuleTest {};

const std::string kSmall =
    "<property>\n"
    "   <value>\n"
    "      <element>\n"
    "         <name>a</name>\n"
    "         <value>1</value>\n"
    "      </element>\n"
    "      <element>\n"
    "         <name>x.password</name>\n"
    "         <value>[redacted]</value>\n"
    "      </element>\n"
    "   </value>\n"
    "</property>\n";

// A context writing into `buffer` of `size` bytes.
ZynXMLSaveContext into(char *buffer, size_t size)
{
    ZynXMLSaveContext context = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    context.sout = buffer;
    context.ssize = static_cast<DDS_UnsignedLong>(size);
    return context;
}

std::string save(const DDS_PropertyQosPolicy *policy, const DDS_PropertyQosPolicy *base = nullptr)
{
    static char buffer[1 << 14];
    buffer[0] = '\0';
    ZynXMLSaveContext context = into(buffer, sizeof buffer);
    DDS_PropertyQosPolicy_save(policy, base, &context);
    EXPECT_TRUE(context.error == 0 && context.depth == 0);
    EXPECT_EQ(context.outputStringLength, std::strlen(buffer));
    return buffer;
}

// The saved elements read back by a real parser, as name -> value.
Values parse(const std::string &xml)
{
    Values out;
    pugi::xml_document document;
    EXPECT_TRUE(document.load_string(xml.c_str())) << xml;
    for (pugi::xml_node element : document.child("property").child("value").children("element")) {
        out[element.child_value("name")] = element.child_value("value");
    }
    return out;
}

TEST_F(SaveTest, SmallPolicyIntoBufferAndMeasured)
{
    ScopedPolicy policy{{"a", "1"}, {"x.password", "s"}};
    EXPECT_EQ(save(&policy), kSmall);
    EXPECT_EQ(parse(kSmall), (Values{{"a", "1"}, {"x.password", "[redacted]"}}));
    // With nowhere to write: measuring the size a buffer needs.
    ZynXMLSaveContext measuring = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_PropertyQosPolicy_save(&policy, nullptr, &measuring);
    EXPECT_TRUE(measuring.error == 0 && measuring.outputStringLength == kSmall.size());

    // Text is escaped; tag names are not data and are written as given.
    ScopedPolicy special{{"a&b<c>", "\"q\" 'x' & <t>"}};
    const std::string escaped = save(&special);
    EXPECT_NE(escaped.find("<name>a&amp;b&lt;c&gt;</name>\n"
                           "         <value>&quot;q&quot; &apos;x&apos; &amp; &lt;t&gt;</value>"),
              std::string::npos) << escaped;
    EXPECT_EQ(parse(escaped), (Values{{"a&b<c>", "\"q\" 'x' & <t>"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(SaveTest, ConfidentialSuffixesAndNearMisses)
{
    ScopedPolicy policy;
    Values expected;
    auto add = [&](const std::string &name, const char *saved) {
        DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), "v", DDS_BOOLEAN_FALSE);
        expected[name] = saved;
    };
    for (const char *suffix : {".cryptography.key", ".key_material_key", ".password",
                               ".private_key", ".private_key_file", ".private_key_password",
                               ".rsa_private_key", ".rsa_private_key_file",
                               ".rtps_psk_secret_passphrase"}) {
        add(std::string("p") + suffix, "[redacted]");
        add(suffix + 1, "v");   // the word without its dot
    }
    add(".password", "[redacted]");
    for (const char *nearMiss : {"p.password2", "my_password", "p.Password", "p.password.hint"}) {
        add(nearMiss, "v");
    }
    EXPECT_EQ(parse(save(&policy)), expected);
    // The suffix test on its own: a suffix as long as the name counts, a longer one does not.
    EXPECT_EQ(DDS_PropertyHelper_isConfidentialProperty(".password", ".password"), 1);
    EXPECT_EQ(DDS_PropertyHelper_isConfidentialProperty("a.password", ".password"), 1);
    EXPECT_EQ(DDS_PropertyHelper_isConfidentialProperty("password", ".password"), 0);
}

TEST_F(SaveTest, BaseEmptyPolicyAndSkippedProperties)
{
    ScopedPolicy policy{{"a", "1"}, {"b", "2"}};
    ScopedPolicy same{{"a", "1"}, {"b", "2"}};
    ScopedPolicy other{{"a", "1"}, {"b", "3"}};
    EXPECT_EQ(save(&policy, &same), "");
    EXPECT_EQ(parse(save(&policy, &other)), (Values{{"a", "1"}, {"b", "2"}}));
    ScopedPolicy empty;
    EXPECT_EQ(save(&empty), "<property>\n</property>\n");

    // The sequence saver on its own, given an equal base, writes only its policy tags.
    char buffer[64];
    ZynXMLSaveContext context = into(buffer, sizeof buffer);
    saveSeq(&policy.policy.value, &same.policy.value, &context, "p", "s");
    EXPECT_STREQ(buffer, "<p>\n</p>\n");

    // Properties without a value or a name are left out; the others are written.
    ScopedPolicy holes{{"first", "1"}, {"middle", "2"}, {"last", "3"}, {"unnamed", "4"}};
    DDS_Property_t *elements = holes.policy.value._contiguous_buffer;
    DDS_String_free(elements[1].value);
    DDS_String_free(elements[3].name);
    elements[1].value = elements[3].name = nullptr;
    EXPECT_EQ(parse(save(&holes)), (Values{{"first", "1"}, {"last", "3"}}));
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(SaveTest, ErrorsStopTheOutput)
{
    ScopedPolicy policy{{"a", "1"}, {"x.password", "s"}};
    // Every buffer too small is marked in error, never overrun, and holds whole lines of the
    // document, terminated. One byte more than the text is enough.
    for (size_t size = 0; size <= kSmall.size() + 1; ++size) {
        std::vector<char> buffer(size + 16, '#');
        ZynXMLSaveContext context = into(buffer.data(), size);
        DDS_PropertyQosPolicy_save(&policy, nullptr, &context);
        EXPECT_EQ(context.error != 0, size <= kSmall.size()) << size;
        EXPECT_EQ(std::string(buffer.begin() + size, buffer.end()), std::string(16, '#')) << size;
        const std::string written(buffer.data(), context.outputStringLength);
        EXPECT_TRUE(size == 0 || buffer[written.size()] == '\0') << size;
        EXPECT_TRUE(kSmall.compare(0, written.size(), written) == 0 &&
                    (written.empty() || written.back() == '\n')) << size;
    }
    // A context already in error gets nothing.
    char untouched[] = "#";
    ZynXMLSaveContext failed = into(untouched, sizeof untouched);
    failed.error = 1;
    DDS_PropertyQosPolicy_save(&policy, nullptr, &failed);
    EXPECT_EQ(failed.outputStringLength, 0u);
    EXPECT_STREQ(untouched, "#");
    // A file that refuses writes marks the context.
    FILE *readOnly = std::fopen("/dev/null", "r");
    ASSERT_NE(readOnly, nullptr);
    ZynXMLSaveContext toFile = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    toFile.fout = readOnly;
    DDS_PropertyQosPolicy_save(&policy, nullptr, &toFile);
    std::fclose(readOnly);
    EXPECT_NE(toFile.error, 0);

    // A record that claims an element it cannot yield: what was opened is closed again.
    log.clear();
    DDS_PropertySeq broken = DDS_SEQUENCE_INITIALIZER;
    broken._length = 1;
    broken._owned = DDS_BOOLEAN_FALSE;
    char buffer[128];
    ZynXMLSaveContext context = into(buffer, sizeof buffer);
    saveSeq(&broken, nullptr, &context, "property", "value");
    expectPrecondition("property == ((void *)0)");
    EXPECT_STREQ(buffer, "<property>\n   <value>\n   </value>\n</property>\n");
}

}  // namespace
