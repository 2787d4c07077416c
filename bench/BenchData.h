// The data every benchmark works on, generated deterministically so that ours and the peers'
// operations see exactly the same names and values, run after run.
#ifndef PROPQOS_BENCH_BENCHDATA_H
#define PROPQOS_BENCH_BENCHDATA_H

#include <cstdint>
#include <string>
#include <vector>

namespace propqos_bench {

struct Property {
    std::string name;
    std::string value;
};

// A small deterministic generator (64-bit LCG), so data does not depend on the library's rand.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint32_t next()
    {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return uint32_t(state_ >> 33);
    }
    uint32_t below(uint32_t bound) { return next() % bound; }

private:
    uint64_t state_;
};

// A realistic property list of `count` properties: dotted names of 20 to 60 characters in eight
// families of common prefixes (transports, security, flow control, application settings), each
// family holding one eighth of the list, values of 5 to 40 characters, order shuffled.
std::vector<Property> makeProperties(int count);

// The prefix (without its trailing '.') of one family: selects exactly count / 8 properties.
const char *extractionPrefix();

// Names absent from makeProperties(count), in the same families (a miss scans the whole list).
std::vector<std::string> absentNames();

// The present names in the order the lookups visit them (every position equally often).
std::vector<std::string> lookupOrder(const std::vector<Property> &properties);

// A participant policy of `count` properties that all pass name validation: four built-in
// transports, two token-bucket flow controllers, one loaded TCP transport and the participant's
// own settings. Past the distinct valid names available, names repeat (with other values);
// `distinct` receives how many are distinct.
std::vector<Property> validParticipantProperties(int count, int *distinct = nullptr);

// Valid properties of a data writer (its own settings and its durable history plug-in) and of a
// data reader (its own settings and application properties outside the checked prefixes).
std::vector<Property> validWriterProperties(int count, uint32_t seed);
std::vector<Property> validReaderProperties(int count, uint32_t seed);

// The batch scenario: this many policies (or outputs) alive at once, all made in one timing and
// released in it, as a program that holds many QoS objects does. The single scenario makes one
// and releases it before the next, so the allocator always has the block just released.
constexpr int kBatch = 64;

// A value of 5 to 40 characters.
std::string makeValue(Random &random);

}  // namespace propqos_bench

#endif
