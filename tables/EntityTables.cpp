/* The property names the middleware itself understands, per entity kind.
 *
 * For each kind: the prefixes whose properties get checked, the public names (valid, and offered
 * as suggestions for a misspelt name) and the private names (secrets: accepted, never suggested,
 * so a typo never echoes a key name back into a log). Every table ends with "".
 *
 * Names that belong to a plug-in instance are not listed here: the built-in transports
 * ("dds.transport.UDPv4.builtin." ...), loaded transports, flow controllers
 * ("dds.flow_controller.token_bucket.<name>.") and writer-history plug-ins get their names from
 * the plug-in table, expanded under the instance's prefix. The security settings are the
 * exception: security is switched on by these names alone, without loading anything, so the
 * settings of the three security plug-ins under their default prefixes are listed here too. */
#include "tables/Tables.h"

extern "C" {

/* ---- domain participant ---- */

const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT[] = {
    "dds.participant.",
    "dds.transport.",
    "dds.discovery.",
    "dds.sec.",
    "dds.flow_controller.",
    "com.zyn.",
    "",
};

const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT[] = {
    /* participant */
    "dds.participant.property_validation_action",
    "dds.participant.index",
    "dds.participant.domain_tag",
    "dds.participant.rtps.host_id",
    "dds.participant.rtps.app_id",
    "dds.participant.rtps.instance_id",
    "dds.participant.rtps.port_base",
    "dds.participant.rtps.domain_id_gain",
    "dds.participant.rtps.participant_id_gain",
    "dds.participant.clock.monotonic_source",
    "dds.participant.clock.external_source",
    "dds.participant.event_thread.priority",
    "dds.participant.event_thread.stack_size",
    "dds.participant.event_thread.cpu_list",
    "dds.participant.receiver_pool.thread_count",
    "dds.participant.receiver_pool.thread_priority",
    "dds.participant.receiver_pool.thread_stack_size",
    "dds.participant.receiver_pool.buffer_size",
    "dds.participant.database.cleanup_period",
    "dds.participant.database.cleanup_batch_size",
    "dds.participant.database.initial_records",
    "dds.participant.logging.verbosity",
    "dds.participant.logging.categories",
    "dds.participant.logging.output_file",
    "dds.participant.logging.format",
    "dds.participant.statistics.enabled",
    "dds.participant.statistics.sample_period",
    "dds.participant.dns_refresh_period",

    /* transports as a whole; each instance's own settings come from the plug-in table */
    "dds.transport.load_plugins",
    "dds.transport.minimum_compatibility_version",
    "dds.transport.builtin.enabled",
    "dds.transport.selection.unicast_aliases",
    "dds.transport.selection.multicast_aliases",

    /* discovery */
    "dds.discovery.participant.load_plugins",
    "dds.discovery.endpoint.load_plugins",
    "dds.discovery.initial_peers",
    "dds.discovery.multicast_receive_addresses",
    "dds.discovery.accept_unknown_peers",
    "dds.discovery.participant.announcement_period",
    "dds.discovery.participant.initial_announcement_count",
    "dds.discovery.participant.initial_announcement_min_delay",
    "dds.discovery.participant.initial_announcement_max_delay",
    "dds.discovery.participant.lease_duration",
    "dds.discovery.participant.lease_check_period",
    "dds.discovery.participant.max_remote_participants",
    "dds.discovery.endpoint.send_type_information",
    "dds.discovery.endpoint.heartbeat_period",
    "dds.discovery.endpoint.max_heartbeat_retries",
    "dds.discovery.endpoint.nack_response_delay",
    "dds.discovery.endpoint.static_config_file",

    /* security: authentication */
    "dds.sec.auth.library",
    "dds.sec.auth.create_function",
    "dds.sec.auth.plugin_class",
    "dds.sec.auth.identity_ca",
    "dds.sec.auth.identity_certificate",
    "dds.sec.auth.certificate_revocation_list",
    "dds.sec.auth.handshake.resend_period",
    "dds.sec.auth.handshake.max_resends",
    "dds.sec.auth.revalidation_period",
    /* security: access control */
    "dds.sec.access.library",
    "dds.sec.access.create_function",
    "dds.sec.access.plugin_class",
    "dds.sec.access.governance",
    "dds.sec.access.permissions",
    "dds.sec.access.permissions_ca",
    "dds.sec.access.expiry_check_period",
    /* security: cryptography */
    "dds.sec.crypto.library",
    "dds.sec.crypto.create_function",
    "dds.sec.crypto.plugin_class",
    "dds.sec.crypto.session_key.max_blocks",
    "dds.sec.crypto.session_key.refresh_period",
    "dds.sec.crypto.key_exchange.resend_period",
    /* security: event log */
    "dds.sec.logging.verbosity",
    "dds.sec.logging.output_file",
    "dds.sec.logging.distribute",

    /* services loaded into the participant (monitoring and others) */
    "com.zyn.serv.load_plugin",
    "",
};

const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT[] = {
    "dds.sec.auth.private_key",
    "dds.sec.auth.password",
    "dds.sec.crypto.key_material_key",
    "dds.sec.crypto.rtps_psk_secret_passphrase",
    "",
};

/* ---- data writer ---- */

const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER[] = {
    "dds.data_writer.",
    "",
};

const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER[] = {
    /* the history plug-in's own settings live under the prefix this names */
    "dds.data_writer.history.plugin_name",
    "dds.data_writer.history.sample_pool.max_buffer_size",
    "dds.data_writer.history.sample_pool.initial_buffers",
    "dds.data_writer.heartbeat.period",
    "dds.data_writer.heartbeat.fast_period",
    "dds.data_writer.heartbeat.late_joiner_period",
    "dds.data_writer.heartbeat.max_retries",
    "dds.data_writer.nack.response_delay",
    "dds.data_writer.nack.suppression_duration",
    "dds.data_writer.send_window.min_size",
    "dds.data_writer.send_window.max_size",
    "dds.data_writer.serialization.max_buffer_size",
    "dds.data_writer.serialization.compression",
    "dds.data_writer.serialization.compression_threshold",
    "dds.data_writer.batch.max_samples",
    "dds.data_writer.batch.max_bytes",
    "dds.data_writer.batch.flush_delay",
    "dds.data_writer.flow_controller",
    "dds.data_writer.asynchronous_publishing",
    "dds.data_writer.publish_thread.priority",
    "dds.data_writer.publish_thread.stack_size",
    "dds.data_writer.encapsulation",
    "dds.data_writer.max_remote_readers",
    "dds.data_writer.reader_inactivity_timeout",
    "",
};

/* A writer holds no secrets of its own; its history plug-in's are in the plug-in table. */
const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER[] = {
    "",
};

/* ---- data reader ---- */

const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DATAREADER[] = {
    "dds.data_reader.",
    "",
};

const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER[] = {
    "dds.data_reader.queue.initial_samples",
    "dds.data_reader.queue.max_fragmented_samples",
    "dds.data_reader.heartbeat.response_delay_min",
    "dds.data_reader.heartbeat.response_delay_max",
    "dds.data_reader.nack.period",
    "dds.data_reader.fragments.max_samples",
    "dds.data_reader.fragments.assembly_timeout",
    "dds.data_reader.deserialization.max_buffer_size",
    "dds.data_reader.deserialization.skip_unknown_members",
    "dds.data_reader.content_filter.evaluate_on_writer",
    "dds.data_reader.purge.no_writers_delay",
    "dds.data_reader.purge.disposed_delay",
    "dds.data_reader.max_remote_writers",
    "dds.data_reader.multicast_address",
    "dds.data_reader.encapsulations",
    "",
};

const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER[] = {
    "",
};

} // extern "C"
