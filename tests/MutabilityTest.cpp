// Property mutability: a sample of the tables' rows checked against what each property does (a
// socket or a segment cannot change once the transport exists; what is sized or announced at
// enable can change until then; periods and delays are read anew), the lookup through a loaded
// plug-in's create function, and the check of a requested change.
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class MutabilityTest : public ModuleTest {};

constexpr int M = DDS_PROPERTY_QOS_MUTABLE, U = DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE,
              I = DDS_PROPERTY_QOS_IMMUTABLE;
using Props = std::vector<std::pair<std::string, std::string>>;

struct Policy : ScopedPolicy {
    explicit Policy(const Props &properties)
    {
        for (const auto &[name, value] : properties)
            DDS_PropertyQosPolicyHelper_add_property(&policy, name.c_str(), value.c_str(), 0);
    }
};

const Props kLoaded = {
    {"dds.transport.load_plugins", "dds.transport.UDPv4.builtin,my.shm,bare.shm,short.shm"},
    {"my.shm.create_function", "ZynTransportShmem_create"},
    {"short.shm.create_function", "ZynTransportShm"},  // a leading part of the name agrees
    {"dds.transport.UDPv4.builtin.create_function", "ZynTransportShmem_create"},
    {"com.zyn.serv.load_plugin", "mon2"},
    {"mon2.create_function", "ZynMonitoring_create"},
};

TEST_F(MutabilityTest, LookupByOwnNamePluginPrefixAndLoadedCreateFunction)
{
    const Policy empty({}), loaded(kLoaded);
    const struct {
        const char *name;
        int alone, loaded;  // with an empty policy, with kLoaded
    } cases[] = {
        {"dds.participant.index", U, U},
        {"dds.participant.domain_tag", U, U},
        {"dds.data_writer.heartbeat.period", M, M},
        {"dds.data_writer.history.plugin_name", I, I},
        {"dds.data_reader.deserialization.max_buffer_size", I, I},
        {"dds.discovery.participant.lease_duration", M, M},
        {"com.zyn.serv.load_plugin", U, U},
        {"dds.transport.UDPv4.builtin.max_message_size", I, I},
        {"dds.transport.UDPv4.builtin.socket.send_buffer_size", I, I},
        {"dds.transport.UDPv4.builtin.interfaces.poll_period", M, M},
        {"dds.transport.shmem.builtin.segment.size", I, I},
        {"com.zyn.monitor.domain_id", I, I},
        {"com.zyn.monitor.history_depth", U, U},
        {"com.zyn.monitor.publish_period", M, M},
        // unknown names, the prefix alone or run together with a property, letter case
        {"app.setting", M, M},
        {"", M, M},
        {"dds.participant.indexx", M, M},
        {"DDS.participant.index", M, M},
        {"dds.transport.UDPv4.builtin", M, M},
        {"dds.transport.UDPv4.builtin.", M, M},
        {"dds.transport.UDPv4.builtinmax_message_size", M, M},
        // under a known prefix, a property of another plug-in: only by a loaded create function
        {"dds.transport.UDPv4.builtin.segment.size", M, I},
        // loaded plug-ins borrow the table of their create function
        {"my.shm.segment.size", M, I},
        {"my.shm.interfaces.poll_period", M, M},
        {"my.shm_segment.size", M, M},  // the plug-in's name run together with a property
        {"short.shm.segment.key_base", M, I},
        {"bare.shm.segment.size", M, M},  // no create function: skipped
        {"mon2.domain_id", M, I},
        {"mon2.verbosity", M, M},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_property_mutability(c.name, &empty.policy), c.alone) << c.name;
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_property_mutability(c.name, &loaded.policy), c.loaded) << c.name;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, ChangeCheckRefusesOnlyRealChangesOfWhatMayNotChange)
{
    const char *immutable = "cannot modify because it is immutable";
    const char *enabled = "cannot modify because entity is already enabled";
    const Props old = {{"dds.data_writer.history.plugin_name", "h"},
                       {"dds.participant.index", "1"},
                       {"dds.data_writer.heartbeat.period", "1s"},
                       {"dds.participant.index", "2"}};  // a name given twice
    const Policy before(old);
    // Of a name given twice, the check compares with the property the lookup finds.
    const std::string repeatedValue =
        DDS_PropertyQosPolicyHelper_lookup_property(&before.policy, "dds.participant.index")->value;
    const std::string otherValue = repeatedValue == "1" ? "2" : "1";
    const struct {
        Props next;
        const char *refusedBefore, *refusedOnceEnabled;  // the refused name and reason, or null
        const char *name;
    } cases[] = {
        {Props(old.begin(), old.end() - 1), nullptr, nullptr, nullptr},
        {{}, nullptr, nullptr, nullptr},  // removing is no change
        {{{"dds.participant.index", repeatedValue}}, nullptr, nullptr, nullptr},
        {{{"dds.participant.index", otherValue}}, nullptr, enabled, "dds.participant.index"},
        {{{"dds.participant.domain_tag", "t"}}, nullptr, enabled, "dds.participant.domain_tag"},
        {{{"dds.data_writer.history.plugin_name", "g"}}, immutable, immutable, "dds.data_writer.history.plugin_name"},
        {{{"dds.transport.UDPv4.builtin.multicast.ttl", "3"}}, immutable, immutable, "dds.transport.UDPv4.builtin.multicast.ttl"},
        {{{"dds.data_writer.heartbeat.period", "2s"}, {"app.own", "x"}}, nullptr, nullptr, nullptr},
        // the first refused property in the new policy's order is the one named
        {{{"dds.participant.index", "9"}, {"dds.data_writer.history.plugin_name", "g"}}, immutable, enabled, nullptr},
        // a create function arriving with the change applies to it
        {{{"late.segment.size", "1"}, {"dds.transport.load_plugins", "late"}, {"late.create_function", "ZynTransportShmem_create"}},
         immutable, immutable, "late.segment.size"},
    };
    for (int isEnabled : {0, 1})
        for (const auto &c : cases) {
            log.clear();
            Policy next(c.next);
            // The propagate flag alone is no change.
            for (DDS_Long i = 0; i < next.size(); ++i)
                DDS_PropertySeq_get_reference(&next.policy.value, i)->propagate = DDS_BOOLEAN_TRUE;
            const char *reason = isEnabled ? c.refusedOnceEnabled : c.refusedBefore;
            const std::string name = c.name != nullptr ? c.name
                                     : reason == enabled ? "dds.participant.index"
                                                         : "dds.data_writer.history.plugin_name";
            SCOPED_TRACE(name + (isEnabled ? " enabled" : ""));
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next.policy, &before.policy, isEnabled), reason ? 0 : 1);
            if (reason != nullptr)
                expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss", {"entity", name, reason});
            else
                EXPECT_EQ(log.size(), 0u) << log.dump();
        }
}

}  // namespace
