// Writes a large DDS-XML profile file for timing `propqos check`: PROFILES profiles (default
// 1000), each with a participant, a data writer and a data reader QoS of 30 valid properties
// drawn from every valid name of that entity (about 10 MB for 1000 profiles). Deterministic:
// the same arguments give the same bytes.
//   propqos_gen_profiles OUTPUT [PROFILES]
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "bench/BenchData.h"

using namespace propqos_bench;

namespace {

std::string escaped(const std::string &text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default: out += c;
        }
    }
    return out;
}

void writeQos(std::FILE *file, const char *tag, const std::vector<Property> &properties)
{
    std::fprintf(file, "      <%s>\n        <property>\n          <value>\n", tag);
    for (const Property &p : properties) {
        std::fprintf(file, "            <element><name>%s</name><value>%s</value></element>\n",
                     escaped(p.name).c_str(), escaped(p.value).c_str());
    }
    std::fprintf(file, "          </value>\n        </property>\n      </%s>\n", tag);
}

// `count` properties of `pool`: the first `required` always, the rest drawn without repetition,
// in a shuffled order, with fresh values (a create function or a plug-in list keeps its own).
std::vector<Property> pick(const std::vector<Property> &pool, size_t required, size_t count, Random &random)
{
    std::vector<Property> rest(pool.begin() + long(required), pool.end());
    for (size_t i = rest.size(); i > 1; --i) std::swap(rest[i - 1], rest[random.below(uint32_t(i))]);
    std::vector<Property> out(pool.begin(), pool.begin() + long(required));
    for (size_t i = 0; out.size() < count && i < rest.size(); ++i) out.push_back(rest[i]);
    for (size_t i = out.size(); i > 1; --i) std::swap(out[i - 1], out[random.below(uint32_t(i))]);
    for (Property &p : out) {
        if (p.name.find("load_plugins") == std::string::npos &&
            p.name.find("create_function") == std::string::npos &&
            p.name.find("plugin_name") == std::string::npos) {
            p.value = makeValue(random);
        }
    }
    return out;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s OUTPUT [PROFILES]\n", argv[0]);
        return 2;
    }
    const int profiles = argc > 2 ? std::atoi(argv[2]) : 1000;
    std::FILE *file = std::fopen(argv[1], "w");
    if (file == nullptr) {
        std::perror(argv[1]);
        return 2;
    }
    std::fprintf(file, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<dds>\n");
    std::fprintf(file, "  <qos_library name=\"Bench\">\n");
    Random random(0xf11e);
    // Every distinct valid name of each entity, to draw each profile's own set from: profiles
    // differ in their names, not only in their values.
    int distinct = 0;
    auto participantPool = validParticipantProperties(1000, &distinct);   // load_plugins first
    participantPool.resize(size_t(distinct));
    const auto writerPool = validWriterProperties(1000, 1);                // plugin_name first
    const auto readerPool = validReaderProperties(60, 2);
    for (int i = 0; i < profiles; ++i) {
        std::fprintf(file, "    <qos_profile name=\"Profile%04d\">\n", i);
        writeQos(file, "domain_participant_qos", pick(participantPool, 1, 30, random));
        writeQos(file, "datawriter_qos", pick(writerPool, 1, 30, random));
        writeQos(file, "datareader_qos", pick(readerPool, 0, 30, random));
        std::fprintf(file, "    </qos_profile>\n");
    }
    std::fprintf(file, "  </qos_library>\n</dds>\n");
    if (std::fclose(file) != 0) {
        std::perror(argv[1]);
        return 2;
    }
    return 0;
}
