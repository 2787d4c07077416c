// The propqos tool end to end: files written to a scratch directory, the tool run on them, its
// exit status, standard output and standard error checked.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <variant>
#include <vector>

#ifndef PROPQOS_TOOL_PATH
#error "the tool's path is defined by the build when the tool is built"
#endif

namespace
{

struct Outcome {
    int status = -1; // exit status; 128 + signal number when killed by one
    std::string out;
    std::string err;
    std::vector<std::string> errLines() const
    {
        std::vector<std::string> lines;
        std::istringstream in(err);
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        return lines;
    }
};

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::size_t count(const std::string &text, const std::string &what)
{
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++n;
    }
    return n;
}

// One property element, on the lines the module's saving would write it.
std::string element(const std::string &name, const std::string &value, bool propagate = false)
{
    std::string text = "            <element>\n"
                       "              <name>" +
                       name +
                       "</name>\n"
                       "              <value>" +
                       value + "</value>\n";
    if (propagate) {
        text += "              <propagate>true</propagate>\n";
    }
    return text + "            </element>\n";
}

std::string qos(const std::string &tag, const std::string &elements)
{
    return "      <" + tag + ">\n        <property>\n          <value>\n" + elements +
           "          </value>\n        </property>\n      </" + tag + ">\n";
}

std::string profile(const std::string &name, const std::string &body, const std::string &base = "")
{
    return "    <qos_profile name=\"" + name + "\"" +
           (base.empty() ? std::string() : " base_name=\"" + base + "\"") + ">\n" + body +
           "    </qos_profile>\n";
}

std::string library(const std::string &name, const std::string &profiles)
{
    return "  <qos_library name=\"" + name + "\">\n" + profiles + "  </qos_library>\n";
}

std::string dds(const std::string &libraries)
{
    return "<?xml version=\"1.0\"?>\n<dds>\n" + libraries + "</dds>\n";
}

// 1-based line of the first occurrence of `what`.
std::size_t lineOf(const std::string &text, const std::string &what)
{
    const std::size_t at = text.find(what);
    return at == std::string::npos ? 0 : 1 + count(text.substr(0, at), "\n");
}

// ---- a small JSON reader: enough to read the tool's output back ----
struct Json {
    std::variant<std::nullptr_t, bool, double, std::string, std::vector<Json>,
                 std::map<std::string, Json>>
        v;
    const Json &operator[](const std::string &key) const
    {
        return std::get<std::map<std::string, Json>>(v).at(key);
    }
    const std::vector<Json> &array() const { return std::get<std::vector<Json>>(v); }
    const std::string &str() const { return std::get<std::string>(v); }
    double num() const { return std::get<double>(v); }
    bool has(const std::string &key) const
    {
        return std::get<std::map<std::string, Json>>(v).count(key) != 0;
    }
};

class JsonReader
{
public:
    explicit JsonReader(const std::string &text) : t_(text) {}
    Json document()
    {
        Json j = value();
        blanks();
        if (i_ != t_.size())
            fail();
        return j;
    }

private:
    [[noreturn]] void fail() { throw std::runtime_error("bad JSON at " + std::to_string(i_)); }
    void blanks()
    {
        while (i_ < t_.size() &&
               (t_[i_] == ' ' || t_[i_] == '\n' || t_[i_] == '\t' || t_[i_] == '\r'))
            ++i_;
    }
    bool take(char c)
    {
        blanks();
        if (i_ < t_.size() && t_[i_] == c) {
            ++i_;
            return true;
        }
        return false;
    }
    void expect(char c)
    {
        if (!take(c))
            fail();
    }
    void word(const char *w)
    {
        for (const char *p = w; *p; ++p, ++i_) {
            if (i_ >= t_.size() || t_[i_] != *p)
                fail();
        }
    }
    std::string string()
    {
        expect('"');
        std::string s;
        while (i_ < t_.size() && t_[i_] != '"') {
            const unsigned char c = static_cast<unsigned char>(t_[i_++]);
            if (c < 0x20)
                fail(); // control characters must be escaped
            if (c != '\\') {
                s += static_cast<char>(c);
                continue;
            }
            if (i_ >= t_.size())
                fail();
            const char e = t_[i_++];
            switch (e) {
            case '"':
                s += '"';
                break;
            case '\\':
                s += '\\';
                break;
            case '/':
                s += '/';
                break;
            case 'n':
                s += '\n';
                break;
            case 't':
                s += '\t';
                break;
            case 'r':
                s += '\r';
                break;
            case 'b':
                s += '\b';
                break;
            case 'f':
                s += '\f';
                break;
            case 'u': {
                if (i_ + 4 > t_.size())
                    fail();
                const unsigned code = std::stoul(t_.substr(i_, 4), nullptr, 16);
                i_ += 4;
                if (code < 0x80) {
                    s += static_cast<char>(code);
                } else if (code < 0x800) {
                    s += static_cast<char>(0xC0 | (code >> 6));
                    s += static_cast<char>(0x80 | (code & 0x3F));
                } else {
                    s += static_cast<char>(0xE0 | (code >> 12));
                    s += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
                    s += static_cast<char>(0x80 | (code & 0x3F));
                }
                break;
            }
            default:
                fail();
            }
        }
        expect('"');
        return s;
    }
    Json value()
    {
        blanks();
        if (i_ >= t_.size())
            fail();
        const char c = t_[i_];
        if (c == '{') {
            ++i_;
            std::map<std::string, Json> object;
            if (!take('}')) {
                do {
                    blanks();
                    std::string key = string();
                    expect(':');
                    object[key] = value();
                } while (take(','));
                expect('}');
            }
            return Json{object};
        }
        if (c == '[') {
            ++i_;
            std::vector<Json> array;
            if (!take(']')) {
                do {
                    array.push_back(value());
                } while (take(','));
                expect(']');
            }
            return Json{array};
        }
        if (c == '"')
            return Json{string()};
        if (c == 't') {
            word("true");
            return Json{true};
        }
        if (c == 'f') {
            word("false");
            return Json{false};
        }
        if (c == 'n') {
            word("null");
            return Json{nullptr};
        }
        std::size_t used = 0;
        const double d = std::stod(t_.substr(i_), &used);
        i_ += used;
        return Json{d};
    }
    const std::string &t_;
    std::size_t i_ = 0;
};

class ToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = ::testing::TempDir() + "propqos-tool-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override
    {
        const std::string command = "rm -rf '" + dir_ + "'";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }

    std::string write(const std::string &name, const std::string &content)
    {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    Outcome run(const std::vector<std::string> &args)
    {
        std::string command = std::string("'") + PROPQOS_TOOL_PATH + "'";
        for (const std::string &a : args) {
            std::string quotedArg = "'";
            for (char c : a) {
                quotedArg += c == '\'' ? std::string("'\\''") : std::string(1, c);
            }
            command += " " + quotedArg + "'";
        }
        const std::string out = dir_ + "/.out", err = dir_ + "/.err";
        command += " >'" + out + "' 2>'" + err + "'";
        const int raw = std::system(command.c_str());
        Outcome r;
        if (WIFEXITED(raw)) {
            r.status = WEXITSTATUS(raw);
        } else if (WIFSIGNALED(raw)) {
            r.status = 128 + WTERMSIG(raw);
        }
        r.out = readFile(out);
        r.err = readFile(err);
        return r;
    }

    std::string dir_;
};

const std::string kCleanParticipant =
    element("dds.transport.UDPv4.builtin.socket.send_buffer_size", "1048576") +
    element("dds.flow_controller.token_bucket.fc1.bucket.period", "10ms") +
    element("dds.sec.auth.password", "secret") + element("dds.participant.index", "3");

TEST_F(ToolTest, CheckCleanTypoSecretAndDuplicate)
{
    const std::string clean = write(
        "clean.xml",
        dds(library("L", profile("P", qos("domain_participant_qos", kCleanParticipant) +
                                          qos("datawriter_qos",
                                              element("dds.data_writer.heartbeat.period", "1s")) +
                                          qos("datareader_qos",
                                              element("dds.data_reader.nack.period", "1s"))))));
    Outcome r = run({"check", clean});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(r.out, "0 errors, 0 warnings in 1 profile (3 QoS checked)\n");
    EXPECT_EQ(r.err, "");

    // Two typos in one QoS are both named, each at the line of its name, with a suggestion.
    const std::string typoText = dds(library(
        "L", profile("P", qos("domain_participant_qos",
                              kCleanParticipant +
                                  element("dds.transport.UDPv4.builtin.sendbuffer_size", "1") +
                                  element("dds.participant.indx", "2")))));
    const std::string typo = write("typo.xml", typoText);
    r = run({"check", typo});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find(typo + ":" + std::to_string(lineOf(typoText, "builtin.sendbuffer_size")) +
                         ": error: unknown property \"dds.transport.UDPv4.builtin.sendbuffer_size\""
                         " in participant QoS of L::P; did you mean "
                         "\"dds.transport.UDPv4.builtin.socket.send_buffer_size\"?\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find(typo + ":" + std::to_string(lineOf(typoText, "participant.indx")) +
                         ": error: unknown property \"dds.participant.indx\""),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("2 errors, 0 warnings"), std::string::npos);

    // The action: the profile's own, or the command line's.
    r = run({"check", "--action", "warning", typo});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("0 errors, 2 warnings"), std::string::npos) << r.out;
    r = run({"check", "--action", "skip", typo});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("0 errors, 0 warnings"), std::string::npos) << r.out;
    const std::string ownAction = write(
        "own.xml",
        dds(library("L", profile("P", qos("domain_participant_qos",
                                          element("dds.participant.property_validation_action",
                                                  "VALIDATION_ACTION_WARNING") +
                                              element("dds.participant.indx", "2")) +
                                          qos("datawriter_qos",
                                              element("dds.data_writer.heartbeat.perod", "1s"))))));
    r = run({"check", ownAction});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(count(r.out, ": warning: unknown property"), 2u)
        << "the writer follows the participant";

    // A secret marked to propagate, and a name given twice.
    const std::string flaggedText =
        dds(library("L", profile("P", qos("domain_participant_qos",
                                          element("dds.sec.auth.password", "secret", true) +
                                              element("dds.participant.index", "1") +
                                              element("dds.participant.index", "2")))));
    const std::string flagged = write("flagged.xml", flaggedText);
    r = run({"check", flagged});
    EXPECT_EQ(r.status, 0) << "warnings only";
    EXPECT_NE(r.out.find(":" + std::to_string(lineOf(flaggedText, "auth.password")) +
                         ": warning: confidential property \"dds.sec.auth.password\""),
              std::string::npos)
        << r.out;
    const std::size_t firstIndex = lineOf(flaggedText, "participant.index");
    EXPECT_NE(r.out.find(":" + std::to_string(firstIndex + 4) +
                         ": warning: property \"dds.participant.index\" given twice in "
                         "participant QoS of L::P (first at line " +
                         std::to_string(firstIndex) + ")"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("secret\""), std::string::npos) << "values are never printed";
}

TEST_F(ToolTest, InheritanceAcrossLibrariesAndFilesCyclesAndMissingBases)
{
    const std::string baseText =
        dds(library("LibA", profile("Base", qos("domain_participant_qos",
                                                element("dds.participant.indx", "1") +
                                                    element("dds.participant.index", "1") +
                                                    element("dds.participant.domain_tag", "a")))));
    const std::string base = write("base.xml", baseText);
    const std::string derived = write(
        "derived.xml",
        dds(library(
            "LibB",
            profile("Mid", qos("domain_participant_qos", element("dds.participant.index", "2")),
                    "LibA::Base") +
                profile("Leaf",
                        qos("datawriter_qos", element("dds.data_writer.heartbeat.period", "1s")),
                        "Mid"))));

    // Alone, the derived file lacks its base.
    Outcome r = run({"check", derived});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("error: base profile \"LibA::Base\" of \"LibB::Mid\" is not defined"),
              std::string::npos)
        << r.out;

    // Together: the base's typo is inherited by both derived profiles but said once, at its place.
    r = run({"check", derived, base});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(count(r.out, "\"dds.participant.indx\""), 1u) << r.out;
    EXPECT_NE(r.out.find(base + ":" + std::to_string(lineOf(baseText, "indx")) + ": error:"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("in 3 profiles (4 QoS checked)"), std::string::npos) << r.out;

    // What a profile ends up with: the base's, replaced by name, in the base's order.
    r = run({"get", derived, base, "--profile", "LibB::Leaf", "--entity", "participant"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "dds.participant.indx = 1\ndds.participant.index = 2\n"
                     "dds.participant.domain_tag = a\n");

    const std::string cycle = write(
        "cycle.xml",
        dds(library(
            "L",
            profile("A", qos("datareader_qos", element("dds.data_reader.nack.period", "1s")), "C") +
                profile("B", "", "A") + profile("C", "", "B"))));
    r = run({"check", cycle});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(count(r.out, "inheritance cycle"), 1u) << r.out;
    EXPECT_NE(r.out.find("L::A -> L::C -> L::B -> L::A"), std::string::npos) << r.out;
    r = run({"get", cycle, "--profile", "L::B", "--entity", "datareader"});
    EXPECT_EQ(r.status, 1) << "the inheritance is broken";
    EXPECT_EQ(r.out, "dds.data_reader.nack.period = 1s\n");
}

TEST_F(ToolTest, UnusableInputIsOneLineAndExitTwo)
{
    const auto expectOneLine = [](const Outcome &r, const std::string &start) {
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        ASSERT_EQ(r.errLines().size(), 1u) << r.err;
        EXPECT_EQ(r.errLines()[0].rfind(start, 0), 0u) << r.err;
    };
    const std::string malformed = write(
        "bad.xml", "<dds>\n  <qos_library name=\"L\">\n    <qos_profile>\n  </qos_library>\n");
    expectOneLine(run({"check", malformed}), malformed + ":4:5: error: malformed XML");
    expectOneLine(run({"redact", malformed}), malformed + ":4:5: error: malformed XML");
    expectOneLine(run({"check", dir_ + "/missing.xml"}),
                  dir_ + "/missing.xml: error: cannot open: No such file or directory");
    expectOneLine(run({"check", dir_}), dir_ + ": error: cannot read");
    expectOneLine(run({"check", write("empty.xml", "")}), dir_ + "/empty.xml:1:1: error:");
    expectOneLine(run({"check", write("root.xml", "<profiles/>")}),
                  dir_ + "/root.xml:1: error: the root element is <profiles>");
    expectOneLine(run({"check", write("binary.xml", std::string("\0\xff\xfe<\x01", 5))}),
                  dir_ + "/binary.xml:1:");

    expectOneLine(run({}), "propqos: error: no command given");
    expectOneLine(run({"frobnicate"}), "propqos: error: unknown command \"frobnicate\"");
    expectOneLine(run({"check"}), "propqos: error: check: no FILE given");
    expectOneLine(run({"check", "--action", "loud", malformed}),
                  "propqos: error: check: --action takes warning, exception or skip");
    expectOneLine(run({"check", "--format"}),
                  "propqos: error: check: option --format needs a value");
    expectOneLine(run({"diff", malformed}), "propqos: error: diff: expected two files");
    expectOneLine(run({"get", malformed, "--entity", "topic"}), "propqos: error: get: --entity");
    expectOneLine(run({"explain"}), "propqos: error: explain: expected one NAME");

    for (const char *command : {"check", "redact", "diff", "get", "explain"}) {
        const Outcome help = run({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out.rfind(std::string("usage: propqos ") + command, 0), 0u) << help.out;
    }
    EXPECT_EQ(run({"--help"}).status, 0);
    const Outcome version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("propqos ", 0), 0u);
}

TEST_F(ToolTest, JsonFindingsReadBack)
{
    // A name holding a quote, a backslash and a tab; and bytes that are not UTF-8.
    const std::string odd = "dds.participant.a&quot;b\\c&#9;d";
    const std::string file = write(
        "odd.xml",
        dds(library("L&amp;M", profile("P", qos("domain_participant_qos",
                                                element(odd, "1") +
                                                    element("dds.sec.auth.password", "x", true) +
                                                    element("dds.participant.\xff\xfe", "1"))))));
    const Outcome r = run({"check", "--format", "json", "--action", "warning", file});
    EXPECT_EQ(r.status, 0);
    Json doc;
    ASSERT_NO_THROW(doc = JsonReader(r.out).document()) << r.out;
    const std::vector<Json> &findings = doc["findings"].array();
    ASSERT_EQ(findings.size(), 3u) << r.out;
    EXPECT_EQ(doc["summary"]["warnings"].num(), 3);
    EXPECT_EQ(doc["summary"]["errors"].num(), 0);
    EXPECT_EQ(doc["summary"]["qos"].num(), 1);
    EXPECT_EQ(findings[0]["property"].str(), "dds.participant.a\"b\\c\td");
    EXPECT_EQ(findings[0]["profile"].str(), "L&M::P");
    EXPECT_EQ(findings[0]["code"].str(), "unknown-property");
    EXPECT_EQ(findings[0]["level"].str(), "warning");
    EXPECT_TRUE(findings[0].has("suggestion"));
    EXPECT_EQ(findings[0]["file"].str(), file);
    EXPECT_EQ(findings[1]["code"].str(), "confidential-propagated");
    EXPECT_EQ(findings[2]["property"].str(), "dds.participant.\xef\xbf\xbd\xef\xbf\xbd");

    const Outcome skipped = run({"check", "--format", "json", "--action", "skip", file});
    ASSERT_NO_THROW(doc = JsonReader(skipped.out).document()) << skipped.out;
    ASSERT_EQ(doc["findings"].array().size(), 1u) << "names are not checked, secrets still are";
    EXPECT_EQ(doc["findings"].array()[0]["code"].str(), "confidential-propagated");
}

TEST_F(ToolTest, RedactReplacesOnlySecretValues)
{
    const std::string participant =
        "            <!-- keep this comment -->\n" +
        element("dds.sec.auth.password", "hunter2", true) + element("dds.participant.index", "7") +
        "            "
        "<element><name>dds.sec.auth.private_key</name><value>PEM&amp;KEY</value></element>\n" +
        "            <element><value>no name here</value></element>\n" +
        element("dds.transport.TCPv4.t.tls.private_key_password", "pw2");
    const std::string text =
        dds(library("L", profile("P", qos("domain_participant_qos", participant) +
                                          "      <!-- a comment & a <tag> outside -->\n")));
    const std::string file = write("secret.xml", text);
    const Outcome r = run({"redact", file});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");

    std::string expected = text;
    for (const std::string secret : {"hunter2", "PEM&amp;KEY", "pw2"}) {
        expected.replace(expected.find(">" + secret + "<"), secret.size() + 2, ">[redacted]<");
    }
    EXPECT_EQ(r.out, expected) << "everything but the secret values stays as written";

    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_string(r.out.c_str()));
    const Outcome again = run({"get", write("redacted.xml", r.out), "--profile", "L::P", "--entity",
                               "participant", "--reveal"});
    EXPECT_NE(again.out.find("dds.sec.auth.password = [redacted]  (propagate)\n"),
              std::string::npos)
        << again.out;
    EXPECT_NE(again.out.find("dds.participant.index = 7\n"), std::string::npos);

    // One-line documents stay on one line; a document without properties is untouched.
    const std::string oneLine =
        "<dds><qos_library name=\"L\"><qos_profile name=\"P\"><datawriter_qos><property><value>"
        "<element><name>a.b.cryptography.key</name><value>k</value><propagate>1</propagate>"
        "</element></value></property></datawriter_qos></qos_profile></qos_library></dds>";
    EXPECT_EQ(run({"redact", write("one.xml", oneLine)}).out,
              "<dds><qos_library name=\"L\"><qos_profile name=\"P\"><datawriter_qos><property>"
              "<value><element><name>a.b.cryptography.key</name><value>[redacted]</value>"
              "<propagate>true</propagate></element></value></property></datawriter_qos>"
              "</qos_profile></qos_library></dds>");
    const std::string plain = "<dds>\r\n<!-- <property> -->\r\n</dds>\r\n";
    EXPECT_EQ(run({"redact", write("plain.xml", plain)}).out, plain);
}

TEST_F(ToolTest, DiffRefusesImmutableChangesAndAcceptsMutableOnes)
{
    const auto version = [&](const std::string &name, const std::string &size,
                             const std::string &index, const std::string &poll) {
        return write(
            name,
            dds(library(
                "L",
                profile("P", qos("domain_participant_qos",
                                 element("dds.transport.UDPv4.builtin.max_message_size", size) +
                                     element("dds.participant.index", index) +
                                     element("dds.transport.UDPv4.builtin.interfaces.poll_period",
                                             poll))))));
    };
    const std::string before = version("before.xml", "65507", "1", "1s");
    const std::string mutableOnly = version("poll.xml", "65507", "1", "5s");
    const std::string untilEnable = version("index.xml", "65507", "2", "1s");
    const std::string immutable = version("size.xml", "9000", "2", "5s");

    Outcome r = run({"diff", "--enabled", before, mutableOnly});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("accepted: participant QoS of L::P: 1 property added or changed"),
              std::string::npos)
        << r.out;

    EXPECT_EQ(run({"diff", before, untilEnable}).status, 0) << "not yet enabled";
    r = run({"diff", "--enabled", before, untilEnable});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("error: changing \"dds.participant.index\" in participant QoS of L::P is "
                         "refused: cannot modify because entity is already enabled"),
              std::string::npos)
        << r.out;

    // Every refused property is named; the mutable one is not.
    r = run({"diff", "--enabled", before, immutable});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\"dds.transport.UDPv4.builtin.max_message_size\" in participant QoS of "
                         "L::P is refused: cannot modify because it is immutable"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(count(r.out, "is refused"), 2u) << r.out;
    EXPECT_EQ(r.out.find("poll_period"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("9000"), std::string::npos) << "values are not printed";

    r = run({"diff", before, before});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("1 QoS compared: 1 unchanged, 0 accepted, 0 refused"), std::string::npos);
}

TEST_F(ToolTest, GetSelectsStripsAndRedacts)
{
    const std::string file = write(
        "get.xml",
        dds(library("L", profile("P", qos("domain_participant_qos",
                                          kCleanParticipant + element("dds.sec.auth.identity_ca",
                                                                      "ca.pem", true))))));
    Outcome r =
        run({"get", file, "--profile", "L::P", "--entity", "participant", "--prefix", "dds.sec."});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "dds.sec.auth.password = [redacted]\n"
                     "dds.sec.auth.identity_ca = ca.pem  (propagate)\n");
    r = run({"get", file, "--profile", "L::P", "--entity", "participant", "--prefix",
             "dds.sec.auth", "--strip"});
    EXPECT_EQ(r.out, "password = [redacted]\nidentity_ca = ca.pem  (propagate)\n")
        << "stripped names are still recognised as secret; no \"prefix\" entry";
    r = run({"get", file, "--profile", "L::P", "--entity", "participant", "--prefix",
             "dds.sec.auth", "--strip", "--reveal", "--format", "json"});
    Json doc;
    ASSERT_NO_THROW(doc = JsonReader(r.out).document()) << r.out;
    ASSERT_EQ(doc["properties"].array().size(), 2u);
    EXPECT_EQ(doc["properties"].array()[0]["value"].str(), "secret");

    r = run({"get", file, "--profile", "L::Q", "--entity", "participant"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.errLines().size(), 1u);
    r = run({"get", file, "--profile", "L::P", "--entity", "datareader"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
}

TEST_F(ToolTest, ExplainKnownAndUnknownNames)
{
    Outcome r = run({"explain", "dds.transport.UDPv4.builtin.max_message_size"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("participant: known (built-in transport \"dds.transport.UDPv4.builtin\")"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("datawriter: not checked"), std::string::npos);
    EXPECT_NE(r.out.find("mutability: immutable"), std::string::npos);

    r = run({"explain", "dds.transport.TCPv4.uplink.server.bind_port"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("known once a TCPV4 plug-in is loaded as \"dds.transport.TCPv4.uplink\""),
              std::string::npos)
        << r.out;

    r = run({"explain", "dds.sec.auth.password"});
    EXPECT_NE(r.out.find("known (private"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("confidential"), std::string::npos);

    r = run({"explain", "dds.data_writer.heartbeat.perod"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("datawriter: unknown"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("closest known name: \"dds.data_writer.heartbeat.period\""),
              std::string::npos)
        << r.out;

    // Under no entity's prefixes, yet close to a known name.
    r = run({"explain", "dds.datareader.nack.period"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("closest known name: \"dds.data_reader.nack.period\""), std::string::npos)
        << r.out;
}

TEST_F(ToolTest, AbsurdInputNeverCrashes)
{
    std::string many;
    for (int i = 0; i < 3000; ++i) {
        many += "<element><name>dds.participant.x" + std::to_string(i) + "</name><value>" +
                std::to_string(i) + "</value></element>\n";
    }
    std::string deep = "<dds>";
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    for (int i = 0; i < 100000; ++i)
        deep += "</a>";
    deep += "</dds>";
    const std::vector<std::string> files = {
        write("huge-name.xml",
              dds(library(
                  "L",
                  profile("P", qos("domain_participant_qos",
                                   element("dds.participant." + std::string(300000, 'n'), "1")))))),
        write("limits.xml",
              dds(library("L", profile("P", "      <domain_participant_qos><resource_limits>"
                                            "<participant_property_list_max_length>99999999999999"
                                            "</participant_property_list_max_length>"
                                            "<writer_property_list_max_length>-5"
                                            "</writer_property_list_max_length>"
                                            "<reader_property_string_max_length>LENGTH_UNLIMITED"
                                            "</reader_property_string_max_length>"
                                            "</resource_limits></domain_participant_qos>\n" +
                                                qos("datawriter_qos", "") +
                                                qos("datareader_qos", ""))))),
        write("broken-elements.xml",
              dds(library("L", profile("P",
                                       qos("datareader_qos",
                                           "<element/><element><name/><value/></element>"
                                           "<element><name>x</name></element>"
                                           "<element><name>dds.data_reader.nack.period</name>"
                                           "<value>1s</value><propagate>maybe</propagate>"
                                           "</element>"),
                                       "P")))),
        write("many.xml", dds(library("L", profile("P", qos("domain_participant_qos", many))))),
        write("deep.xml", deep),
        write("empty-names.xml",
              "<dds><qos_library><qos_profile base_name=\"::\"/></qos_library>"
              "<qos_library name=\"\"><qos_profile name=\"\"/></qos_library></dds>"),
    };
    for (const std::string &file : files) {
        for (const std::vector<std::string> &args :
             {std::vector<std::string>{"check", file},
              {"check", "--format", "json", file},
              {"redact", file},
              {"diff", "--enabled", file, files[3]},
              {"get", file, "--profile", "L::P", "--entity", "participant", "--prefix",
               std::string(2000, 'p'), "--strip"}}) {
            const Outcome r = run(args);
            EXPECT_LE(r.status, 2) << args[0] << " " << file << "\n" << r.err;
            EXPECT_LE(r.errLines().size(), 1u) << args[0] << " " << file << "\n" << r.err;
        }
    }
    const Outcome limits = run({"check", files[1]});
    EXPECT_EQ(count(limits.out, "error: invalid resource limit"), 2u) << limits.out;
    const Outcome broken = run({"check", files[2]});
    EXPECT_NE(broken.out.find("inheritance cycle"), std::string::npos) << broken.out;
    EXPECT_NE(broken.out.find("invalid <propagate> \"maybe\""), std::string::npos) << broken.out;
    EXPECT_EQ(count(broken.out, "error: property element without a <name>"), 2u) << broken.out;
    const Outcome huge = run({"check", files[0]});
    EXPECT_NE(huge.out.find("is too long to be one"), std::string::npos);
    EXPECT_LT(huge.out.size(), 2000u) << "a huge name is not echoed";
    const Outcome crowd = run({"check", files[3]});
    EXPECT_NE(crowd.out.find("further unknown property names"), std::string::npos);
}

} // namespace
