// The propqos tool end to end: files written to a scratch directory, the tool run on them, its
// exit status, standard output and standard error checked.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <vector>

#ifndef PROPQOS_TOOL_PATH
#error "the tool's path is defined by the build when the tool is built"
#endif

namespace
{

using Strings = std::vector<std::string>;
using Json = std::map<std::string, std::string>;
constexpr auto npos = std::string::npos;

struct Outcome {
    int status = -1; // exit status; 128 + signal number when killed by one
    std::string out, err;
};

std::size_t count(const std::string &text, const std::string &what)
{
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

// The line of the first `what` in `text`, `below` lines further down.
std::string lineOf(const std::string &text, const std::string &what, std::size_t below = 0)
{
    return std::to_string(1 + below + count(text.substr(0, text.find(what)), "\n"));
}

// One property element over four lines, as the module's saving would write it.
std::string element(const std::string &name, const std::string &value, bool propagate = false)
{
    return "            <element>\n              <name>" + name + "</name>\n              <value>" +
           value + "</value>\n" + (propagate ? "              <propagate>true</propagate>\n" : "") +
           "            </element>\n";
}

std::string qos(const std::string &tag, const std::string &elements)
{
    return "      <" + tag + "_qos>\n        <property>\n          <value>\n" + elements +
           "          </value>\n        </property>\n      </" + tag + "_qos>\n";
}

std::string profile(const std::string &name, const std::string &body, const std::string &base = "")
{
    return "    <qos_profile name=\"" + name + "\"" +
           (base.empty() ? "" : " base_name=\"" + base + "\"") + ">\n" + body +
           "    </qos_profile>\n";
}

std::string dds(const std::string &library, const std::string &profiles)
{
    return "<?xml version=\"1.0\"?>\n<dds>\n  <qos_library name=\"" + library + "\">\n" + profiles +
           "  </qos_library>\n</dds>\n";
}

// A file whose one profile L::P has a participant QoS with these elements.
std::string participant(const std::string &elements)
{
    return dds("L", profile("P", qos("domain_participant", elements)));
}

// Reads JSON into path -> scalar ("findings.0.code" -> "unknown-property", "findings.#" -> "3");
// throws on anything that is not JSON.
class JsonReader
{
public:
    static Json read(const std::string &text)
    {
        JsonReader r(text);
        r.value("");
        if (text.find_first_not_of(" \t\r\n", r.i_) != npos)
            r.fail();
        return r.out_;
    }

private:
    explicit JsonReader(const std::string &text) : t_(text) {}
    [[noreturn]] void fail() const
    {
        throw std::runtime_error("bad JSON at " + std::to_string(i_));
    }
    char next() { return i_ < t_.size() ? t_[i_++] : (fail(), '\0'); }
    char token() // the next character after blanks
    {
        i_ = std::min(t_.find_first_not_of(" \t\r\n", i_), t_.size());
        return next();
    }
    std::string string()
    {
        std::string s;
        for (char c; (c = next()) != '"';) {
            if (static_cast<unsigned char>(c) < 0x20)
                fail(); // control characters must be escaped
            if (c != '\\') {
                s += c;
                continue;
            }
            const std::size_t e = std::string("\"\\/bfnrt").find(c = next());
            if (e != npos) {
                s += "\"\\/\b\f\n\r\t"[e];
                continue;
            }
            const unsigned u = c == 'u' ? std::stoul(t_.substr(i_, 4), nullptr, 16) : (fail(), 0u);
            i_ += 4; // to UTF-8
            if (u < 0x80)
                s += char(u);
            else if (u < 0x800)
                s += {char(0xC0 | u >> 6), char(0x80 | (u & 0x3F))};
            else
                s += {char(0xE0 | u >> 12), char(0x80 | (u >> 6 & 0x3F)), char(0x80 | (u & 0x3F))};
        }
        return s;
    }
    void value(const std::string &path)
    {
        const char c = token();
        if (c == '{' || c == '[') {
            const char close = c == '{' ? '}' : ']';
            std::size_t n = 0;
            if (token() != close) {
                --i_;
                do {
                    std::string key = std::to_string(n++);
                    if (c == '{' && (token() != '"' || (key = string(), token() != ':')))
                        fail();
                    value(path + key + ".");
                } while (token() == ',');
                if (t_[i_ - 1] != close)
                    fail();
            }
            out_[path + "#"] = std::to_string(n);
            return;
        }
        const std::string leaf = path.substr(0, path.size() - 1);
        if (c == '"') {
            out_[leaf] = string();
            return;
        }
        const std::string word = t_.substr(i_ - 1, t_.find_first_of(",]} \n", i_) - (i_ - 1));
        std::size_t used = 0;
        if (word != "true" && word != "false" && word != "null" &&
            (std::stod(word, &used), used != word.size()))
            fail();
        out_[leaf] = word;
        i_ += word.size() - 1;
    }

    const std::string &t_;
    std::size_t i_ = 0;
    Json out_;
};

class ToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = ::testing::TempDir() + "propqos-tool-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
        in_ = dir_ + "/in.xml";
    }
    void TearDown() override { EXPECT_EQ(std::system(("rm -rf '" + dir_ + "'").c_str()), 0); }

    std::string write(const std::string &name, const std::string &content)
    {
        std::ofstream(dir_ + "/" + name, std::ios::binary) << content;
        return dir_ + "/" + name;
    }
    Outcome run(const Strings &args)
    {
        std::string command = std::string("'") + PROPQOS_TOOL_PATH + "'";
        for (const std::string &a : args) {
            command += " '";
            for (char c : a)
                command += c == '\'' ? std::string("'\\''") : std::string(1, c);
            command += "'";
        }
        const int raw = std::system((command + " >'" + dir_ + "/o' 2>'" + dir_ + "/e'").c_str());
        Outcome r;
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : -1;
        for (auto [name, text] : {std::pair{"/o", &r.out}, std::pair{"/e", &r.err}}) {
            std::ifstream file(dir_ + name, std::ios::binary);
            text->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        }
        return r;
    }
    // Runs the tool: its status, standard output holding each of `expected` and none of `absent`,
    // and standard error empty unless the run failed.
    Outcome expect(const Strings &args, int status, const Strings &expected,
                   const Strings &absent = {})
    {
        const Outcome r = run(args);
        EXPECT_EQ(r.status, status) << r.out << r.err;
        EXPECT_TRUE(status != 0 || r.err.empty()) << r.err;
        for (const std::string &s : expected)
            EXPECT_NE(r.out.find(s), npos) << s << "\n" << r.out;
        for (const std::string &s : absent)
            EXPECT_EQ(r.out.find(s), npos) << s << "\n" << r.out;
        return r;
    }
    // Exit status 2, nothing printed, one line of error starting with `start`.
    void expectUnusable(const Strings &args, const std::string &start)
    {
        const Outcome r = run(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(count(r.err, "\n"), 1u) << r.err;
        EXPECT_EQ(r.err.rfind(start, 0), 0u) << r.err;
    }

    std::string dir_, in_;
};

const std::string kClean =
    element("dds.transport.UDPv4.builtin.socket.send_buffer_size", "1048576") +
    element("dds.flow_controller.token_bucket.fc1.bucket.period", "10ms") +
    element("dds.sec.auth.password", "secret") + element("dds.participant.index", "3");

// Resource limits of every kind of value, and elements that are not properties.
const std::string kBroken =
    dds("L", profile("P", "      <domain_participant_qos><resource_limits>"
                          "<participant_property_list_max_length>99999999999999"
                          "</participant_property_list_max_length>"
                          "<writer_property_list_max_length>-5</writer_property_list_max_length>"
                          "<reader_property_string_max_length>LENGTH_UNLIMITED"
                          "</reader_property_string_max_length>"
                          "</resource_limits></domain_participant_qos>\n" +
                              qos("datawriter", "<element/><element><name/><value/></element>"
                                                "<element><name>dds.data_writer.heartbeat.period"
                                                "</name><value>1s</value><propagate>maybe"
                                                "</propagate></element>")));

TEST_F(ToolTest, CheckReportsTyposSecretsDuplicatesAndBrokenValues)
{
    write(
        "in.xml",
        dds("L",
            profile("P", qos("domain_participant", kClean) +
                             qos("datawriter", element("dds.data_writer.heartbeat.period", "1s")) +
                             qos("datareader", element("dds.data_reader.nack.period", "1s")))));
    EXPECT_EQ(expect({"check", in_}, 0, {}).out,
              "0 errors, 0 warnings in 1 profile (3 QoS checked)\n");

    // Each typo at the line of its name, with the closest known name; the action decides.
    const std::string typos =
        participant(kClean + element("dds.transport.UDPv4.builtin.sendbuffer_size", "1") +
                    element("dds.participant.indx", "2"));
    write("in.xml", typos);
    expect({"check", in_}, 1,
           {in_ + ":" + lineOf(typos, "builtin.sendbuffer_size") +
                ": error: unknown property \"dds.transport.UDPv4.builtin.sendbuffer_size\" in "
                "participant QoS of L::P; did you mean "
                "\"dds.transport.UDPv4.builtin.socket.send_buffer_size\"?\n",
            in_ + ":" + lineOf(typos, "participant.indx") +
                ": error: unknown property \"dds.participant.indx\"",
            "\n2 errors, 0 warnings"},
           {"secret"});
    expect({"check", "--action", "warning", in_}, 0, {"\n0 errors, 2 warnings"});
    expect({"check", "--action", "skip", in_}, 0, {"0 errors, 0 warnings"});

    // The writer follows the action of the profile's participant.
    const std::string own = dds(
        "L",
        profile("P", qos("domain_participant", element("dds.participant.property_validation_action",
                                                       "VALIDATION_ACTION_WARNING") +
                                                   element("dds.participant.indx", "2")) +
                         qos("datawriter", element("dds.data_writer.heartbeat.perod", "1s"))));
    write("in.xml", own);
    expect({"check", in_}, 0,
           {":" + lineOf(own, "participant.indx") + ": warning: unknown property",
            ":" + lineOf(own, "heartbeat.perod") + ": warning: unknown property",
            "\n0 errors, 2 warnings"});

    // A secret marked to propagate; a name given twice, reported at the second.
    const std::string flagged =
        participant(element("dds.sec.auth.password", "secret", true) +
                    element("dds.participant.index", "1") + element("dds.participant.index", "2"));
    write("in.xml", flagged);
    expect(
        {"check", in_}, 0,
        {":" + lineOf(flagged, "auth.password") +
             ": warning: confidential property \"dds.sec.auth.password\"",
         ":" + lineOf(flagged, "participant.index", 4) +
             ": warning: property \"dds.participant.index\" given twice in participant QoS of L::P "
             "(first at line " +
             lineOf(flagged, "participant.index") + ")",
         "\n0 errors, 2 warnings"},
        {"secret\""});
    expect({"check", "--action", "skip", in_}, 0, {"\n0 errors, 2 warnings"}); // names only skipped

    // Only the two limits that are not numbers are named (LENGTH_UNLIMITED is a limit).
    write("in.xml", kBroken);
    const Outcome r =
        expect({"check", in_}, 1,
               {"error: invalid resource limit \"99999999999999\"",
                "error: invalid resource limit \"-5\"", "invalid <propagate> \"maybe\""});
    EXPECT_EQ(count(r.out, "error: property element without a <name>"), 2u) << r.out;
    EXPECT_EQ(count(r.out, "invalid resource limit"), 2u) << r.out;
}

TEST_F(ToolTest, InheritanceAcrossLibrariesAndFilesCyclesAndMissingBases)
{
    const std::string baseText = dds(
        "LibA",
        profile("Base", qos("domain_participant", element("dds.participant.indx", "1") +
                                                      element("dds.participant.index", "1") +
                                                      element("dds.participant.domain_tag", "a"))));
    const std::string base = write("base.xml", baseText);
    const std::string derived =
        write("derived.xml",
              dds("LibB",
                  profile("Mid", qos("domain_participant", element("dds.participant.index", "2")),
                          "LibA::Base") +
                      profile("Leaf",
                              qos("datawriter", element("dds.data_writer.heartbeat.period", "1s")),
                              "Mid")));
    expect({"check", derived}, 1,
           {"error: base profile \"LibA::Base\" of \"LibB::Mid\" is not defined"});
    // Together: the base's typo is inherited by both derived profiles but said once, at its place.
    const Outcome r = expect(
        {"check", derived, base}, 1,
        {base + ":" + lineOf(baseText, "indx") + ": error:", "in 3 profiles (4 QoS checked)"});
    EXPECT_EQ(count(r.out, "\"dds.participant.indx\""), 1u) << r.out;
    // What a profile ends up with: the base's, replaced by name, in the base's order.
    EXPECT_EQ(
        expect({"get", derived, base, "--profile", "LibB::Leaf", "--entity", "participant"}, 0, {})
            .out,
        "dds.participant.indx = 1\ndds.participant.index = 2\ndds.participant.domain_tag = a\n");

    write("in.xml",
          dds("L",
              profile("A", qos("datareader", element("dds.data_reader.nack.period", "1s")), "C") +
                  profile("B", "", "A") + profile("C", "", "B") + profile("D", "", "D")));
    EXPECT_EQ(count(expect({"check", in_}, 1, {"L::A -> L::C -> L::B -> L::A", "L::D -> L::D"}).out,
                    "inheritance cycle"),
              2u);
    // The broken inheritance is said, and what can be had printed.
    EXPECT_EQ(expect({"get", in_, "--profile", "L::B", "--entity", "datareader"}, 1, {}).out,
              "dds.data_reader.nack.period = 1s\n");
}

TEST_F(ToolTest, UnusableInputIsOneLineAndExitTwo)
{
    const std::string bad =
        write("bad.xml", "<dds>\n  <qos_library name=\"L\">\n    <qos_profile>\n"
                         "  </qos_library>\n");
    const std::string e = "propqos: error: ";
    const std::pair<Strings, std::string> cases[] = {
        {{"check", bad}, bad + ":4:5: error: malformed XML"},
        {{"redact", bad}, bad + ":4:5: error: malformed XML"},
        {{"check", dir_ + "/no.xml"},
         dir_ + "/no.xml: error: cannot open: No such file or directory"},
        {{"check", dir_}, dir_ + ": error: cannot read"},
        {{"check", write("empty.xml", "")}, dir_ + "/empty.xml:1:1: error:"},
        {{"check", write("root.xml", "<profiles/>")},
         dir_ + "/root.xml:1: error: the root element is <profiles>"},
        {{"check", write("binary.xml", std::string("\0\xff\xfe<\x01", 5))},
         dir_ + "/binary.xml:1:"},
        {{}, e + "no command given"},
        {{"frobnicate"}, e + "unknown command \"frobnicate\""},
        {{"check"}, e + "check: no FILE given"},
        {{"check", "--action", "loud", bad},
         e + "check: --action takes warning, exception or skip"},
        {{"check", "--format"}, e + "check: option --format needs a value"},
        {{"diff", bad}, e + "diff: expected two files"},
        {{"get", bad, "--entity", "topic"}, e + "get: --entity"},
        {{"explain"}, e + "explain: expected one NAME"},
    };
    for (const auto &[args, start] : cases) {
        SCOPED_TRACE(start);
        expectUnusable(args, start);
    }
    for (const char *command : {"check", "redact", "diff", "get", "explain"})
        EXPECT_EQ(expect({command, "--help"}, 0, {})
                      .out.rfind(std::string("usage: propqos ") + command, 0),
                  0u);
    expect({"--help"}, 0, {"usage: propqos COMMAND"});
    EXPECT_EQ(expect({"--version"}, 0, {}).out.rfind("propqos ", 0), 0u);
}

TEST_F(ToolTest, JsonFindingsReadBack)
{
    // A name holding a quote, a backslash and a tab; and bytes that are not UTF-8.
    write("in.xml",
          dds("L&amp;M", profile("P", qos("domain_participant",
                                          element("dds.participant.a&quot;b\\c&#9;d", "1") +
                                              element("dds.sec.auth.password", "x", true) +
                                              element("dds.participant.\xff\xfe", "1")))));
    Json doc;
    ASSERT_NO_THROW(
        doc = JsonReader::read(
            expect({"check", "--format", "json", "--action", "warning", in_}, 0, {}).out));
    const Json expected = {{"findings.#", "3"},
                           {"summary.warnings", "3"},
                           {"summary.errors", "0"},
                           {"summary.qos", "1"},
                           {"findings.0.property", "dds.participant.a\"b\\c\td"},
                           {"findings.0.profile", "L&M::P"},
                           {"findings.0.code", "unknown-property"},
                           {"findings.0.level", "warning"},
                           {"findings.0.file", in_},
                           {"findings.1.code", "confidential-propagated"},
                           {"findings.2.property", "dds.participant.\xef\xbf\xbd\xef\xbf\xbd"}};
    for (const auto &[path, value] : expected)
        EXPECT_EQ(doc[path], value) << path;
    EXPECT_EQ(doc.count("findings.0.suggestion"), 1u);
}

TEST_F(ToolTest, RedactReplacesOnlySecretValues)
{
    const std::string text =
        dds("L",
            profile("P", qos("domain_participant",
                             "            <!-- keep this comment -->\n" +
                                 element("dds.sec.auth.password", "hunter2", true) +
                                 element("dds.participant.index", "7") +
                                 "            <element><name>dds.sec.auth.private_key</name>"
                                 "<value>PEM&amp;KEY</value></element>\n"
                                 "            <element><value>no name here</value></element>\n" +
                                 element("dds.transport.TCPv4.t.tls.private_key_password", "pw2")) +
                             "      <!-- a comment & a <tag> outside -->\n"));
    write("in.xml", text);
    std::string expected = text;
    for (const std::string secret : {"hunter2", "PEM&amp;KEY", "pw2"})
        expected.replace(expected.find(">" + secret + "<"), secret.size() + 2, ">[redacted]<");
    const std::string redacted = expect({"redact", in_}, 0, {}).out;
    EXPECT_EQ(redacted, expected) << "everything but the secret values stays as written";
    EXPECT_TRUE(pugi::xml_document().load_string(redacted.c_str()));

    // One-line documents stay on one line; a document without properties is untouched.
    const std::string oneLine =
        "<dds><qos_library name=\"L\"><qos_profile name=\"P\"><datawriter_qos><property><value>"
        "<element><name>a.b.cryptography.key</name><value>k</value><propagate>1</propagate>"
        "</element></value></property></datawriter_qos></qos_profile></qos_library></dds>";
    expected = oneLine;
    expected.replace(expected.find(">k<"), 3, ">[redacted]<");
    expected.replace(expected.find(">1<"), 3, ">true<");
    EXPECT_EQ(expect({"redact", write("in.xml", oneLine)}, 0, {}).out, expected);
    const std::string plain = "<dds>\r\n<!-- <property> -->\r\n</dds>\r\n";
    EXPECT_EQ(expect({"redact", write("in.xml", plain)}, 0, {}).out, plain);
}

TEST_F(ToolTest, DiffRefusesImmutableChangesAndAcceptsMutableOnes)
{
    const auto version = [&](const std::string &name, const std::string &size,
                             const std::string &index, const std::string &poll) {
        return write(
            name, participant(element("dds.transport.UDPv4.builtin.max_message_size", size) +
                              element("dds.participant.index", index) +
                              element("dds.transport.UDPv4.builtin.interfaces.poll_period", poll)));
    };
    const std::string before = version("a.xml", "65507", "1", "1s"),
                      poll = version("b.xml", "65507", "1", "5s"),
                      index = version("c.xml", "65507", "2", "1s"),
                      size = version("d.xml", "9000", "2", "5s");
    const std::string refused = "\" in participant QoS of L::P is refused: cannot modify because ";
    expect({"diff", "--enabled", before, poll}, 0,
           {"accepted: participant QoS of L::P: 1 property added or changed"});
    expect({"diff", before, index}, 0, {"1 accepted, 0 refused (entities not yet enabled)"});
    expect({"diff", "--enabled", before, index}, 1,
           {"error: changing \"dds.participant.index" + refused + "entity is already enabled"});
    // Every refused property is named, the mutable one is not; values are not printed.
    expect({"diff", "--enabled", before, size}, 1,
           {"\"dds.transport.UDPv4.builtin.max_message_size" + refused + "it is immutable",
            "\"dds.participant.index" + refused},
           {"poll_period", "9000"});
    expect({"diff", before, before}, 0, {"1 QoS compared: 1 unchanged, 0 accepted, 0 refused"});
}

TEST_F(ToolTest, GetSelectsStripsAndRedacts)
{
    write("in.xml", participant(kClean + element("dds.sec.auth.identity_ca", "ca.pem", true)));
    const Strings get = {"get", in_, "--entity", "participant", "--profile"};
    const auto with = [&](const Strings &more) {
        Strings args = get;
        args.insert(args.end(), more.begin(), more.end());
        return args;
    };
    EXPECT_EQ(
        expect(with({"L::P", "--prefix", "dds.sec."}), 0, {}).out,
        "dds.sec.auth.password = [redacted]\ndds.sec.auth.identity_ca = ca.pem  (propagate)\n");
    // Stripped names are still recognised as secret; the module's "prefix" entry is not shown.
    EXPECT_EQ(expect(with({"L::P", "--prefix", "dds.sec.auth", "--strip"}), 0, {}).out,
              "password = [redacted]\nidentity_ca = ca.pem  (propagate)\n");
    Json doc;
    ASSERT_NO_THROW(doc = JsonReader::read(expect(with({"L::P", "--prefix", "dds.sec.auth",
                                                        "--strip", "--reveal", "--format", "json"}),
                                                  0, {})
                                               .out));
    EXPECT_EQ(doc["properties.#"], "2");
    EXPECT_EQ(doc["properties.0.value"], "secret");
    expectUnusable(with({"L::Q"}), "propqos: error: no profile \"L::Q\"");
    EXPECT_EQ(expect(with({"L::P", "--entity", "datareader"}), 0, {}).out, "");
}

TEST_F(ToolTest, ExplainKnownAndUnknownNames)
{
    expect({"explain", "dds.transport.UDPv4.builtin.max_message_size"}, 0,
           {"participant: known (built-in transport \"dds.transport.UDPv4.builtin\")",
            "datawriter: not checked", "mutability: immutable"});
    expect({"explain", "dds.transport.TCPv4.uplink.server.bind_port"}, 0,
           {"known once a TCPV4 plug-in is loaded as \"dds.transport.TCPv4.uplink\""});
    expect({"explain", "dds.sec.auth.password"}, 0, {"known (private", "confidential"});
    expect({"explain", "dds.data_writer.heartbeat.perod"}, 1,
           {"datawriter: unknown", "closest known name: \"dds.data_writer.heartbeat.period\""});
    // Under no entity's prefixes, yet close to a known name.
    expect({"explain", "dds.datareader.nack.period"}, 1,
           {"closest known name: \"dds.data_reader.nack.period\""});
}

TEST_F(ToolTest, AbsurdInputNeverCrashes)
{
    std::string many, open, close;
    for (int i = 0; i < 3000; ++i)
        many += element("dds.participant.x" + std::to_string(i), "1");
    for (int i = 0; i < 100000; ++i)
        open += "<a>", close += "</a>";
    const std::string huge =
        write("huge.xml", participant(element("dds.participant." + std::string(300000, 'n'), "1")));
    const std::string crowd = write("many.xml", participant(many));
    const Strings files = {
        huge, crowd, write("broken.xml", kBroken),
        write("deep.xml", "<dds>" + open + close + "</dds>"),
        write("empty-names.xml",
              "<dds><qos_library><qos_profile base_name=\"::\"/></qos_library>"
              "<qos_library name=\"\"><qos_profile name=\"\"/></qos_library></dds>")};
    for (const std::string &file : files) {
        for (const Strings &args : {Strings{"check", file},
                                    {"check", "--format", "json", file},
                                    {"redact", file},
                                    {"diff", "--enabled", file, crowd},
                                    {"get", file, "--profile", "L::P", "--entity", "participant",
                                     "--prefix", std::string(2000, 'p'), "--strip"}}) {
            SCOPED_TRACE(args[0] + " " + file);
            const Outcome r = run(args);
            EXPECT_LE(r.status, 2) << r.err;
            EXPECT_LE(count(r.err, "\n"), 1u) << r.err;
        }
    }
    const Outcome r = expect({"check", huge}, 1, {"is too long to be one"});
    EXPECT_LT(r.out.size(), 2000u) << "a huge name is not echoed";
    expect({"check", crowd}, 1, {"further unknown property names"});
}

} // namespace
