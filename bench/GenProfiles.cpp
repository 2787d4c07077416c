// Writes a large DDS-XML profile file for timing `propqos check`: PROFILES profiles (default
// 1000), each with a participant, a data writer and a data reader QoS of about 30 valid
// properties. Deterministic: the same arguments give the same bytes.
//   propqos_gen_profiles OUTPUT [PROFILES]
#include <cstdio>
#include <cstdlib>
#include <string>

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
        std::fprintf(file,
                     "            <element>\n"
                     "              <name>%s</name>\n"
                     "              <value>%s</value>\n"
                     "            </element>\n",
                     escaped(p.name).c_str(), escaped(p.value).c_str());
    }
    std::fprintf(file, "          </value>\n        </property>\n      </%s>\n", tag);
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
    for (int i = 0; i < profiles; ++i) {
        std::fprintf(file, "    <qos_profile name=\"Profile%04d\">\n", i);
        // The participant's set differs from profile to profile in its values only.
        auto participant = validParticipantProperties(30);
        for (Property &p : participant) {
            if (p.name.find("load_plugins") == std::string::npos &&
                p.name.find("create_function") == std::string::npos) {
                p.value = makeValue(random);
            }
        }
        writeQos(file, "domain_participant_qos", participant);
        writeQos(file, "datawriter_qos", validWriterProperties(30, uint32_t(i) * 2 + 1));
        writeQos(file, "datareader_qos", validReaderProperties(30, uint32_t(i) * 2 + 2));
        std::fprintf(file, "    </qos_profile>\n");
    }
    std::fprintf(file, "  </qos_library>\n</dds>\n");
    if (std::fclose(file) != 0) {
        std::perror(argv[1]);
        return 2;
    }
    return 0;
}
