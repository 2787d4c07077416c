/* Which properties may change after an entity exists.
 *
 *  MUTABLE               read anew whenever it is used: log verbosity, periods, delays.
 *  MUTABLE_UNTIL_ENABLE  consumed when the entity is enabled: resources sized, threads started,
 *                        plug-ins loaded, discovery announced.
 *  IMMUTABLE             fixed when the entity, or the plug-in instance, is created: a transport's
 *                        sockets and segments, the participant's identity, its security
 *                        credentials.
 * A name in no table is MUTABLE.
 *
 * Both tables are searched by binary search, so both are sorted by byte order (checked below).
 * The plug-in rows are searched by leading prefix; no prefix may be a leading part of another, or
 * a name could fall under two rows. */
#include "tables/ConstexprStrings.h"
#include "tables/Tables.h"

#include <cstddef>

namespace {

constexpr PROPERTYValueMutability kMutable = PROPERTY_VALUE_MUTABILITY_MUTABLE;
constexpr PROPERTYValueMutability kUntilEnable = PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE;
constexpr PROPERTYValueMutability kImmutable = PROPERTY_VALUE_MUTABILITY_IMMUTABLE;

/* Names relative to "com.zyn.monitor." (the monitoring plug-in, also when loaded under another
 * name with its create function). What is published, and how often, can change at any time. */
constexpr PROPERTYValueAttributes kMonitoring[] = {
    {"collector.address", kUntilEnable},
    {"collector.password", kUntilEnable},
    {"collector.username", kUntilEnable},
    {"domain_id", kImmutable},
    {"exclude_topics", kMutable},
    {"history_depth", kUntilEnable},
    {"include_topics", kMutable},
    {"publish_period", kMutable},
    {"verbosity", kMutable},
};

/* Relative to "dds.transport.UDPv4.builtin.": the sockets exist as soon as the transport does.
 * Only how often the interface list is polled can still be tuned. */
constexpr PROPERTYValueAttributes kUdpv4Builtin[] = {
    {"interfaces.allow", kImmutable},
    {"interfaces.deny", kImmutable},
    {"interfaces.poll_period", kMutable},
    {"max_gather_segments", kImmutable},
    {"max_message_size", kImmutable},
    {"multicast.enabled", kImmutable},
    {"multicast.interfaces.allow", kImmutable},
    {"multicast.interfaces.deny", kImmutable},
    {"multicast.ttl", kImmutable},
    {"receive.thread_count", kImmutable},
    {"socket.receive_buffer_size", kImmutable},
    {"socket.send_buffer_size", kImmutable},
};

/* Relative to "dds.transport.shmem.builtin.": the segment is mapped, and other processes attach
 * to it, with the size and layout it was created with. */
constexpr PROPERTYValueAttributes kShmemBuiltin[] = {
    {"max_message_size", kImmutable},
    {"receive.buffer_size", kImmutable},
    {"receive.max_messages", kImmutable},
    {"segment.key_base", kImmutable},
    {"segment.permissions", kImmutable},
    {"segment.size", kImmutable},
};

template <std::size_t N>
constexpr PROPERTYPluginValueAttributes plugin(const char *prefix, const char *name, const char *createFunction,
                                               const PROPERTYValueAttributes (&properties)[N]) {
    return PROPERTYPluginValueAttributes{prefix, name, createFunction, properties, static_cast<DDS_Long>(N)};
}

} // namespace

extern "C" {

/* Same kinds and create functions as in the plug-in table. */
constexpr PROPERTYPluginValueAttributes PROPERTY_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT] = {
    plugin("com.zyn.monitor", "MONITORING", "ZynMonitoring_create", kMonitoring),
    plugin("dds.transport.UDPv4.builtin", "UDPV4", "ZynTransportUdpv4_create", kUdpv4Builtin),
    plugin("dds.transport.shmem.builtin", "SHMEM", "ZynTransportShmem_create", kShmemBuiltin),
};

constexpr PROPERTYValueAttributes PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT] = {
    {"com.zyn.serv.load_plugin", kUntilEnable},
    {"dds.data_reader.deserialization.max_buffer_size", kImmutable},
    {"dds.data_reader.fragments.assembly_timeout", kMutable},
    {"dds.data_reader.fragments.max_samples", kUntilEnable},
    {"dds.data_reader.heartbeat.response_delay_max", kMutable},
    {"dds.data_reader.heartbeat.response_delay_min", kMutable},
    {"dds.data_reader.purge.disposed_delay", kMutable},
    {"dds.data_reader.purge.no_writers_delay", kMutable},
    {"dds.data_reader.queue.initial_samples", kUntilEnable},
    {"dds.data_writer.batch.flush_delay", kMutable},
    {"dds.data_writer.batch.max_bytes", kUntilEnable},
    {"dds.data_writer.batch.max_samples", kUntilEnable},
    {"dds.data_writer.flow_controller", kUntilEnable},
    {"dds.data_writer.heartbeat.fast_period", kMutable},
    {"dds.data_writer.heartbeat.period", kMutable},
    {"dds.data_writer.history.plugin_name", kImmutable},
    {"dds.data_writer.history.sample_pool.max_buffer_size", kImmutable},
    {"dds.data_writer.send_window.max_size", kUntilEnable},
    {"dds.data_writer.serialization.max_buffer_size", kImmutable},
    {"dds.discovery.accept_unknown_peers", kUntilEnable},
    {"dds.discovery.endpoint.heartbeat_period", kMutable},
    {"dds.discovery.endpoint.load_plugins", kUntilEnable},
    {"dds.discovery.endpoint.send_type_information", kUntilEnable},
    {"dds.discovery.initial_peers", kUntilEnable},
    {"dds.discovery.multicast_receive_addresses", kUntilEnable},
    {"dds.discovery.participant.announcement_period", kMutable},
    {"dds.discovery.participant.lease_duration", kMutable},
    {"dds.discovery.participant.load_plugins", kUntilEnable},
    {"dds.discovery.participant.max_remote_participants", kUntilEnable},
    {"dds.participant.clock.external_source", kUntilEnable},
    {"dds.participant.clock.monotonic_source", kUntilEnable},
    {"dds.participant.database.cleanup_period", kMutable},
    {"dds.participant.domain_tag", kUntilEnable},
    {"dds.participant.event_thread.priority", kUntilEnable},
    {"dds.participant.event_thread.stack_size", kUntilEnable},
    {"dds.participant.index", kUntilEnable},
    {"dds.participant.logging.categories", kMutable},
    {"dds.participant.logging.output_file", kMutable},
    {"dds.participant.logging.verbosity", kMutable},
    {"dds.participant.property_validation_action", kMutable},
    {"dds.participant.receiver_pool.thread_count", kUntilEnable},
    {"dds.participant.rtps.app_id", kImmutable},
    {"dds.participant.rtps.host_id", kImmutable},
    {"dds.participant.statistics.sample_period", kMutable},
    {"dds.sec.access.governance", kImmutable},
    {"dds.sec.access.permissions", kImmutable},
    {"dds.sec.access.permissions_ca", kImmutable},
    {"dds.sec.auth.identity_ca", kImmutable},
    {"dds.sec.auth.identity_certificate", kImmutable},
    {"dds.sec.auth.password", kImmutable},
    {"dds.sec.auth.private_key", kImmutable},
    {"dds.sec.crypto.plugin_class", kImmutable},
    {"dds.sec.logging.verbosity", kMutable},
    {"dds.transport.builtin.enabled", kUntilEnable},
    {"dds.transport.load_plugins", kUntilEnable},
    {"dds.transport.minimum_compatibility_version", kUntilEnable},
};

/* The properties whose value lists loaded plug-ins, in the order the prefix map reads them. */
const char *const PROPERTY_LOAD_PLUGINS_ARRAY[PROPERTY_LOAD_PLUGINS_ARRAY_COUNT] = {
    "dds.transport.load_plugins",
    "dds.discovery.endpoint.load_plugins",
    "dds.discovery.participant.load_plugins",
    "com.zyn.serv.load_plugin",
};

} // extern "C"

/* ---- compile-time checks: what the binary searches rely on ---- */
namespace {

using namespace propqos_tables;

/* strncmp(a, b, min length) == 0: one is a leading part of the other. */
constexpr bool nested(const char *a, const char *b) {
    const std::size_t n = length(a) < length(b) ? length(a) : length(b);
    for (std::size_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

constexpr bool validMutability(PROPERTYValueMutability m) {
    return m == kMutable || m == kUntilEnable || m == kImmutable;
}

/* Filled, named, strictly ascending (so no duplicate), with valid mutabilities. Relative names
 * must not start with the "." that the lookup has already consumed. */
constexpr bool sortedNames(const PROPERTYValueAttributes *rows, int count, bool relative) {
    for (int i = 0; i < count; ++i) {
        if (rows[i].propertyName == nullptr || length(rows[i].propertyName) == 0) return false;
        if (!validMutability(rows[i].mutability)) return false;
        if (relative && rows[i].propertyName[0] == '.') return false;
        if (i > 0 && compare(rows[i - 1].propertyName, rows[i].propertyName) >= 0) return false;
    }
    return true;
}

constexpr bool pluginRowsValid() {
    const PROPERTYPluginValueAttributes *rows = PROPERTY_PLUGIN_VALUE_ATTRIBUTES;
    for (int i = 0; i < PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT; ++i) {
        const PROPERTYPluginValueAttributes &r = rows[i];
        if (r.prefix == nullptr || r.name == nullptr || r.createFunction == nullptr || r.properties == nullptr)
            return false;
        if (length(r.prefix) == 0 || r.prefix[length(r.prefix) - 1] == '.' || length(r.createFunction) == 0)
            return false;
        if (r.propertiesSize <= 0 || !sortedNames(r.properties, r.propertiesSize, true)) return false;
        if (i > 0 && compare(rows[i - 1].prefix, r.prefix) >= 0) return false;
        for (int j = 0; j < i; ++j) {
            if (nested(rows[j].prefix, r.prefix)) return false;
            /* a loaded plug-in's create function is matched as a leading part of the row's */
            if (nested(rows[j].createFunction, r.createFunction)) return false;
        }
    }
    return true;
}
static_assert(pluginRowsValid(),
              "plug-in rows: filled, sorted by prefix, no prefix or create function a leading part of another, "
              "each row's properties sorted and relative");

static_assert(sortedNames(PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES, PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT, false),
              "no-plugin names: all 56 filled, strictly ascending by byte order");

/* The plug-in rows are searched first: a full name under a plug-in prefix would never reach the
 * no-plugin table. */
constexpr bool noPluginNamesReachable() {
    for (const PROPERTYValueAttributes &p : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES)
        for (const PROPERTYPluginValueAttributes &r : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
            const std::size_t n = length(r.prefix);
            if (nested(r.prefix, p.propertyName) && length(p.propertyName) > n && p.propertyName[n] == '.')
                return false;
        }
    return true;
}
static_assert(noPluginNamesReachable(), "a no-plugin name lies under a plug-in row's prefix");

} // namespace
