/* What the middleware knows of its plug-ins: for every plug-in kind, the prefix under which an
 * instance reads its settings by default, the name of its create function, and the property
 * suffixes (public and secret) that an instance understands. Full name of a setting: instance
 * prefix + "." + suffix, e.g. "dds.transport.UDPv4.builtin" + "." + "socket.send_buffer_size".
 *
 * Two rules shape the table:
 *  - Expansion: a prefix-map entry takes the suffixes of EVERY row whose name occurs (letter case
 *    ignored) in the entry's kind. Rows nest on purpose only where a kind extends another: the
 *    WAN transport is a UDPv4 transport plus WAN settings (UDPV4 is in UDPV4_WAN), the TLS
 *    transport is a TCPv4 transport plus TLS settings (TCPV4 is in TCPV4_TLS). The extending row
 *    lists only its own suffixes.
 *  - Classification of a loaded plug-in: the FIRST row whose prefix occurs in the plug-in's name
 *    (or whose create function equals the plug-in's ".create_function") gives the kind. A row
 *    whose prefix contains an earlier row's prefix would never be reached, so extending kinds
 *    ("dds.transport.UDPv4_WAN") come before the kinds they extend ("dds.transport.UDPv4").
 * Both rules, and the shape of every string, are checked below at compile time. */
#include "tables/ConstexprStrings.h"
#include "tables/Tables.h"

#include <cstddef>

namespace {

using namespace propqos_tables;

/* A suffix is relative and dotted: lower-case words of [a-z0-9_] joined by single dots. */
constexpr bool wellFormedSuffix(const char *s) {
    const std::size_t n = length(s);
    if (n == 0 || s[0] == '.' || s[n - 1] == '.') return false;
    for (std::size_t i = 0; i < n; ++i) {
        const char c = s[i];
        const bool word = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!word && c != '.') return false;
        if (c == '.' && s[i + 1] == '.') return false;
    }
    return true;
}

/* ---- suffix lists ---- */

struct Suffixes {
    const char *const *items;
    int size;
};

template <std::size_t N>
constexpr Suffixes list(const char *const (&items)[N]) {
    return Suffixes{items, static_cast<int>(N)};
}

/* Kinds without secrets point here with a size of 0. */
constexpr const char *const kNoSuffix[] = {""};
constexpr Suffixes kNone{kNoSuffix, 0};

/* Built-in UDPv4 transport, and every loaded UDPv4 instance. Socket and interface settings are
 * grouped so that a transport reads each group with one prefix extraction. */
constexpr const char *const kUdpv4Public[] = {
    "library",
    "create_function",
    "aliases",
    "network_address",
    "max_message_size",
    "max_gather_segments",
    "socket.send_buffer_size",
    "socket.receive_buffer_size",
    "socket.reuse_address",
    "socket.dscp",
    "interfaces.allow",
    "interfaces.deny",
    "interfaces.poll_period",
    "interfaces.ignore_loopback",
    "unicast.enabled",
    "multicast.enabled",
    "multicast.ttl",
    "multicast.loopback",
    "multicast.interfaces.allow",
    "multicast.interfaces.deny",
    "receive.thread_count",
    "receive.thread_priority",
    "send.blocking",
};

/* What a WAN instance adds to the UDPv4 settings: its public face, the rendezvous server it
 * registers with, and NAT keep-alive. */
constexpr const char *const kUdpv4WanPublic[] = {
    "wan.public_address",
    "wan.comm_ports",
    "wan.server_address",
    "wan.binding_ping_period",
    "wan.keepalive_period",
    "wan.port_mapping.enabled",
    "wan.port_mapping.lease_duration",
    "wan.stun.retry_period",
    "wan.stun.max_retries",
};
constexpr const char *const kUdpv4WanPrivate[] = {
    "wan.server.password",
};

/* UDPv6 mirrors UDPv4; IPv6 names its TTL the hop limit and its DSCP byte the traffic class. */
constexpr const char *const kUdpv6Public[] = {
    "library",
    "create_function",
    "aliases",
    "network_address",
    "max_message_size",
    "max_gather_segments",
    "socket.send_buffer_size",
    "socket.receive_buffer_size",
    "socket.reuse_address",
    "socket.traffic_class",
    "interfaces.allow",
    "interfaces.deny",
    "interfaces.poll_period",
    "interfaces.ignore_loopback",
    "unicast.enabled",
    "link_local.enabled",
    "multicast.enabled",
    "multicast.hop_limit",
    "multicast.loopback",
    "multicast.interfaces.allow",
    "multicast.interfaces.deny",
    "receive.thread_count",
    "receive.thread_priority",
    "send.blocking",
};

/* Shared memory: the segment each participant maps, and the bounded receive queue inside it. */
constexpr const char *const kShmemPublic[] = {
    "library",
    "create_function",
    "aliases",
    "max_message_size",
    "receive.max_messages",
    "receive.buffer_size",
    "receive.thread_priority",
    "segment.size",
    "segment.permissions",
    "segment.key_base",
    "segment.cleanup_stale",
};

/* What a TLS instance adds to the TCPv4 settings. The key itself is secret. */
constexpr const char *const kTcpv4TlsPublic[] = {
    "tls.ca_file",
    "tls.ca_directory",
    "tls.certificate_file",
    "tls.certificate_chain_file",
    "tls.crl_file",
    "tls.cipher_suites",
    "tls.min_protocol_version",
    "tls.verify_peer",
    "tls.verify_depth",
    "tls.handshake_timeout",
};
constexpr const char *const kTcpv4TlsPrivate[] = {
    "tls.private_key",
    "tls.private_key_file",
    "tls.private_key_password",
};

constexpr const char *const kTcpv4Public[] = {
    "library",
    "create_function",
    "aliases",
    "network_address",
    "max_message_size",
    "socket.send_buffer_size",
    "socket.receive_buffer_size",
    "socket.no_delay",
    "socket.keepalive_period",
    "interfaces.allow",
    "interfaces.deny",
    "server.bind_port",
    "server.public_address",
    "server.listen_backlog",
    "client.connect_timeout",
    "client.reconnect_period",
    "connection.liveliness_period",
    "connection.max_count",
    "connection.idle_timeout",
};

/* The relay transport tunnels through a relay server over a sub-transport of its own
 * ("subtransport" names it; that instance reads its settings below the relay's prefix). */
constexpr const char *const kRelayPublic[] = {
    "library",
    "create_function",
    "aliases",
    "network_address",
    "subtransport",
    "server.address",
    "server.port",
    "auth.certificate_file",
    "session.keepalive_period",
    "session.timeout",
    "session.max_count",
    "forwarding.queue_size",
};
constexpr const char *const kRelayPrivate[] = {
    "auth.rsa_private_key",
    "auth.rsa_private_key_file",
};

/* Security plug-ins: the "dds.sec." settings the OMG security model defines, plus how we load a
 * replacement plug-in (library, create function). */
constexpr const char *const kAuthenticationPublic[] = {
    "library",
    "create_function",
    "plugin_class",
    "identity_ca",
    "identity_certificate",
    "certificate_revocation_list",
    "handshake.resend_period",
    "handshake.max_resends",
    "revalidation_period",
};
constexpr const char *const kAuthenticationPrivate[] = {
    "private_key",
    "password",
};

constexpr const char *const kAccessControlPublic[] = {
    "library",
    "create_function",
    "plugin_class",
    "governance",
    "permissions",
    "permissions_ca",
    "expiry_check_period",
};

constexpr const char *const kCryptographyPublic[] = {
    "library",
    "create_function",
    "plugin_class",
    "session_key.max_blocks",
    "session_key.refresh_period",
    "key_exchange.resend_period",
};
constexpr const char *const kCryptographyPrivate[] = {
    "key_material_key",
    "rtps_psk_secret_passphrase",
};

/* Monitoring publishes the participant's state on a domain of its own, or to a collector. */
constexpr const char *const kMonitoringPublic[] = {
    "library",
    "create_function",
    "domain_id",
    "publish_period",
    "verbosity",
    "history_depth",
    "include_topics",
    "exclude_topics",
    "collector.address",
    "collector.username",
};
constexpr const char *const kMonitoringPrivate[] = {
    "collector.password",
};

/* Durable writer history: samples kept in files, optionally encrypted at rest. */
constexpr const char *const kWriterHistoryPublic[] = {
    "library",
    "create_function",
    "storage.directory",
    "storage.file_prefix",
    "storage.synchronous_writes",
    "storage.restore_on_startup",
    "instance_cache.max_instances",
    "sample_cache.initial_samples",
    "sample_cache.max_samples",
};
constexpr const char *const kWriterHistoryPrivate[] = {
    "storage.cryptography.key",
};

/* Token bucket: what follows "dds.flow_controller.token_bucket.<name>.". */
constexpr const char *const kFlowControllerPublic[] = {
    "scheduling",
    "bucket.max_tokens",
    "bucket.tokens_per_period",
    "bucket.tokens_dropped_per_period",
    "bucket.bytes_per_token",
    "bucket.period",
};

constexpr PROPERTYPluginProperty row(const char *name, const char *prefix, const char *createFunction,
                                     Suffixes secret, Suffixes open) {
    return PROPERTYPluginProperty{name,        prefix,      createFunction, secret.items,
                                  secret.size, open.items, open.size};
}

} // namespace

extern "C" {

constexpr PROPERTYPluginProperty PROPERTY_VALID_PLUGIN_PROPERTIES[PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT] = {
    /* WAN before UDPv4: "dds.transport.UDPv4" occurs in every WAN instance's name. */
    row("UDPV4_WAN", "dds.transport.UDPv4_WAN", "ZynTransportUdpv4Wan_create", list(kUdpv4WanPrivate),
        list(kUdpv4WanPublic)),
    row("UDPV4", "dds.transport.UDPv4", "ZynTransportUdpv4_create", kNone, list(kUdpv4Public)),
    row("UDPV6", "dds.transport.UDPv6", "ZynTransportUdpv6_create", kNone, list(kUdpv6Public)),
    row("SHMEM", "dds.transport.shmem", "ZynTransportShmem_create", kNone, list(kShmemPublic)),
    /* TLS before TCPv4, for the same reason. */
    row("TCPV4_TLS", "dds.transport.TCPv4_TLS", "ZynTransportTcpv4Tls_create", list(kTcpv4TlsPrivate),
        list(kTcpv4TlsPublic)),
    row("TCPV4", "dds.transport.TCPv4", "ZynTransportTcpv4_create", kNone, list(kTcpv4Public)),
    row("RELAY", "dds.transport.relay", "ZynTransportRelay_create", list(kRelayPrivate), list(kRelayPublic)),
    row("AUTHENTICATION", "dds.sec.auth", "ZynSecAuthentication_create", list(kAuthenticationPrivate),
        list(kAuthenticationPublic)),
    row("ACCESS_CONTROL", "dds.sec.access", "ZynSecAccessControl_create", kNone, list(kAccessControlPublic)),
    row("CRYPTOGRAPHY", "dds.sec.crypto", "ZynSecCryptography_create", list(kCryptographyPrivate),
        list(kCryptographyPublic)),
    row("MONITORING", "com.zyn.monitor", "ZynMonitoring_create", list(kMonitoringPrivate),
        list(kMonitoringPublic)),
    row("WRITER_HISTORY", "dds.data_writer.history", "ZynWriterHistory_create", list(kWriterHistoryPrivate),
        list(kWriterHistoryPublic)),
    row("FLOW_CONTROLLER", "dds.flow_controller.token_bucket", "ZynFlowControllerTokenBucket_create", kNone,
        list(kFlowControllerPublic)),
};

} // extern "C"

/* ---- compile-time checks ---- */
namespace {

constexpr const PROPERTYPluginProperty *kTable = PROPERTY_VALID_PLUGIN_PROPERTIES;
constexpr int kRows = PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT;

static_assert(sizeof(PROPERTY_VALID_PLUGIN_PROPERTIES) / sizeof(PROPERTY_VALID_PLUGIN_PROPERTIES[0]) == 13,
              "the prefix map and its scans assume 13 rows");

/* Every row filled (a missing row would be zero-initialised), with non-empty strings and
 * well-formed suffixes; sizes are taken from the arrays themselves by list(). */
constexpr bool rowsComplete() {
    for (int r = 0; r < kRows; ++r) {
        const PROPERTYPluginProperty &p = kTable[r];
        if (p.name == nullptr || p.prefix == nullptr || p.createFunction == nullptr) return false;
        if (length(p.name) == 0 || length(p.prefix) == 0 || length(p.createFunction) == 0) return false;
        if (p.prefix[length(p.prefix) - 1] == '.') return false;
        if (p.publicProperties == nullptr || p.privateProperties == nullptr) return false;
        if (p.publicPropertiesSize <= 0 || p.privatePropertiesSize < 0) return false;
        for (int i = 0; i < p.publicPropertiesSize; ++i)
            if (p.publicProperties[i] == nullptr || !wellFormedSuffix(p.publicProperties[i])) return false;
        for (int i = 0; i < p.privatePropertiesSize; ++i)
            if (p.privateProperties[i] == nullptr || !wellFormedSuffix(p.privateProperties[i])) return false;
    }
    return true;
}
static_assert(rowsComplete(), "every row needs a name, a prefix, a create function and well-formed suffixes");

/* Kinds and create functions identify a row: no two rows share one. (Two equal prefixes are
 * caught by the shadowing rule below.) */
constexpr bool rowsDistinct() {
    for (int a = 0; a < kRows; ++a)
        for (int b = a + 1; b < kRows; ++b)
            if (equal(kTable[a].name, kTable[b].name) || equal(kTable[a].createFunction, kTable[b].createFunction))
                return false;
    return true;
}
static_assert(rowsDistinct(), "kinds and create functions must be unique");

/* A loaded plug-in's name holds its row's prefix; if an EARLIER row's prefix occurs in it too, the
 * earlier row wins and the later one is unreachable. So no row's prefix may occur in the prefix of
 * a later row. */
constexpr bool noRowShadowed() {
    for (int earlier = 0; earlier < kRows; ++earlier)
        for (int later = earlier + 1; later < kRows; ++later)
            if (iContains(kTable[later].prefix, kTable[earlier].prefix)) return false;
    return true;
}
static_assert(noRowShadowed(), "a row is shadowed by an earlier row whose prefix occurs in its prefix");

/* The suffixes an entry of kind `kind` expands to: those of every row whose name occurs in the
 * kind, public then private, in table order. None may come twice. */
constexpr int expansionSize(const char *kind) {
    int n = 0;
    for (int r = 0; r < kRows; ++r)
        if (iContains(kind, kTable[r].name)) n += kTable[r].publicPropertiesSize + kTable[r].privatePropertiesSize;
    return n;
}

constexpr const char *expansionAt(const char *kind, int k) {
    for (int r = 0; r < kRows; ++r) {
        if (!iContains(kind, kTable[r].name)) continue;
        if (k < kTable[r].publicPropertiesSize) return kTable[r].publicProperties[k];
        k -= kTable[r].publicPropertiesSize;
        if (k < kTable[r].privatePropertiesSize) return kTable[r].privateProperties[k];
        k -= kTable[r].privatePropertiesSize;
    }
    return nullptr;
}

constexpr bool expansionUnique(const char *kind) {
    const int n = expansionSize(kind);
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j)
            if (equal(expansionAt(kind, i), expansionAt(kind, j))) return false;
    return n > 0;
}

constexpr bool everyExpansionUnique() {
    const char *const builtinKinds[] = {"UDPV4", "UDPV4_WAN", "SHMEM", "UDPV6", "WRITER_HISTORY",
                                        "FLOW_CONTROLLER"};
    for (const char *kind : builtinKinds)
        if (!expansionUnique(kind)) return false;
    for (int r = 0; r < kRows; ++r)
        if (!expansionUnique(kTable[r].name)) return false;
    return true;
}
static_assert(everyExpansionUnique(),
              "a kind would get a suffix twice: an extending row repeats a suffix of the row it extends");

} // namespace
