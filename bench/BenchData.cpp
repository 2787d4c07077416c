#include "bench/BenchData.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "tables/Tables.h"

namespace propqos_bench {

namespace {

// Eight families; family 0 is the one extracted.
constexpr const char *kFamilies[8] = {
    "dds.transport.UDPv4.builtin",
    "dds.transport.shmem.builtin",
    "dds.sec.auth",
    "dds.sec.crypto",
    "dds.flow_controller.token_bucket.fc1",
    "com.acme.telemetry.publisher",
    "com.acme.storage.cache",
    "dds.participant.rtps",
};

constexpr const char *kSuffixes[] = {
    "socket.send_buffer",      "max_message_size",  "interfaces.allow",  "multicast.ttl",
    "receive.thread_count",    "handshake.period",  "session.timeout",   "bucket.period",
    "bucket.max_tokens",       "publish_period",    "history_depth",     "retry.backoff",
    "logging.verbosity",       "port_base",         "queue.max_samples", "keepalive_period",
};
constexpr int kSuffixCount = int(sizeof(kSuffixes) / sizeof(kSuffixes[0]));

constexpr char kValueAlphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789._-/:";

void checkShape(const std::string &name)
{
    if (name.size() < 20 || name.size() > 60) {
        std::fprintf(stderr, "generated name of %zu characters: %s\n", name.size(), name.c_str());
        std::abort();
    }
}

// Names of a built-in or loaded plug-in instance: its prefix and each of a row's suffixes.
void addPluginNames(std::vector<Property> &out, const char *instancePrefix, const char *kind,
                    Random &random)
{
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        if (std::strcmp(row.name, kind) != 0) continue;
        for (int i = 0; i < row.publicPropertiesSize; ++i) {
            std::string name = std::string(instancePrefix) + "." + row.publicProperties[i];
            std::string value = makeValue(random);
            if (std::string_view(row.publicProperties[i]) == "create_function") value = row.createFunction;
            out.push_back({name, value});
        }
    }
}

}  // namespace

std::string makeValue(Random &random)
{
    const uint32_t length = 5 + random.below(36);
    std::string value;
    for (uint32_t i = 0; i < length; ++i) value += kValueAlphabet[random.below(sizeof(kValueAlphabet) - 1)];
    return value;
}

const char *extractionPrefix() { return kFamilies[0]; }

std::vector<Property> makeProperties(int count)
{
    Random random(0x5eed0000u + uint32_t(count));
    std::vector<Property> out;
    out.reserve(size_t(count));
    for (int i = 0; i < count; ++i) {
        const int family = i % 8;
        const int j = i / 8;   // index within the family
        std::string name = std::string(kFamilies[family]) + "." + kSuffixes[j % kSuffixCount];
        if (j >= kSuffixCount) name += "." + std::to_string(j / kSuffixCount);
        checkShape(name);
        out.push_back({name, makeValue(random)});
    }
    // Fisher-Yates with the fixed generator: families interleave irregularly.
    for (int i = count - 1; i > 0; --i) std::swap(out[size_t(i)], out[random.below(uint32_t(i + 1))]);
    return out;
}

std::vector<std::string> absentNames()
{
    std::vector<std::string> out;
    for (const char *family : kFamilies) {
        std::string name = std::string(family) + ".unconfigured_setting";
        checkShape(name);
        out.push_back(name);
    }
    return out;
}

std::vector<std::string> lookupOrder(const std::vector<Property> &properties)
{
    std::vector<std::string> out;
    for (const Property &p : properties) out.push_back(p.name);
    Random random(0x100c);
    for (size_t i = out.size(); i > 1; --i) std::swap(out[i - 1], out[random.below(uint32_t(i))]);
    return out;
}

std::vector<Property> validParticipantProperties(int count, int *distinct)
{
    Random random(0xa11d);
    // Groups of valid names, taken round-robin so that even a small policy configures every
    // instance.
    std::vector<std::vector<Property>> groups(8);
    addPluginNames(groups[0], "dds.transport.TCPv4.tcp1", "TCPV4", random);
    addPluginNames(groups[1], "dds.transport.UDPv4.builtin", "UDPV4", random);
    addPluginNames(groups[2], "dds.transport.shmem.builtin", "SHMEM", random);
    addPluginNames(groups[3], "dds.transport.UDPv6.builtin", "UDPV6", random);
    addPluginNames(groups[4], "dds.transport.UDPv4_WAN.builtin", "UDPV4_WAN", random);
    addPluginNames(groups[4], "dds.transport.UDPv4_WAN.builtin", "UDPV4", random);
    addPluginNames(groups[5], "dds.flow_controller.token_bucket.fc1", "FLOW_CONTROLLER", random);
    addPluginNames(groups[6], "dds.flow_controller.token_bucket.fc2", "FLOW_CONTROLLER", random);
    for (int i = 0; PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT[i][0] != '\0'; ++i) {
        const std::string_view name = PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT[i];
        // Names that load plug-ins or set the action itself would change what is measured.
        if (name.find("load_plugin") != std::string_view::npos ||
            name.find("validation_action") != std::string_view::npos) {
            continue;
        }
        groups[7].push_back({std::string(name), makeValue(random)});
    }
    std::vector<Property> pool;
    pool.push_back({"dds.transport.load_plugins", "dds.transport.TCPv4.tcp1"});
    for (size_t round = 0;; ++round) {
        bool any = false;
        for (auto &group : groups) {
            if (round < group.size()) {
                pool.push_back(group[round]);
                any = true;
            }
        }
        if (!any) break;
    }
    std::vector<Property> out;
    for (int i = 0; i < count; ++i) {
        Property p = pool[size_t(i) % pool.size()];
        if (size_t(i) >= pool.size()) p.value = makeValue(random);   // a repeated name
        out.push_back(p);
    }
    if (distinct != nullptr) *distinct = int(std::min(size_t(count), pool.size()));
    return out;
}

std::vector<Property> validWriterProperties(int count, uint32_t seed)
{
    Random random(seed);
    std::vector<Property> pool;
    pool.push_back({"dds.data_writer.history.plugin_name", "dds.data_writer.history.durable"});
    std::vector<Property> history;
    addPluginNames(history, "dds.data_writer.history.durable", "WRITER_HISTORY", random);
    std::vector<Property> own;
    for (int i = 0; PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER[i][0] != '\0'; ++i) {
        const std::string_view name = PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER[i];
        if (name == "dds.data_writer.history.plugin_name") continue;
        own.push_back({std::string(name), makeValue(random)});
    }
    for (size_t i = 0; i < std::max(history.size(), own.size()); ++i) {
        if (i < own.size()) pool.push_back(own[i]);
        if (i < history.size()) pool.push_back(history[i]);
    }
    pool.resize(std::min(pool.size(), size_t(count)));
    return pool;
}

std::vector<Property> validReaderProperties(int count, uint32_t seed)
{
    Random random(seed);
    std::vector<Property> pool;
    for (int i = 0; PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER[i][0] != '\0'; ++i) {
        pool.push_back({PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER[i], makeValue(random)});
    }
    // Application settings: outside every checked prefix, accepted as they are.
    for (int j = 0; int(pool.size()) < count; ++j) {
        std::string name = std::string("com.acme.telemetry.reader.") + kSuffixes[j % kSuffixCount];
        if (j >= kSuffixCount) name += "." + std::to_string(j / kSuffixCount);
        pool.push_back({name, makeValue(random)});
    }
    pool.resize(size_t(count));
    return pool;
}

}  // namespace propqos_bench
