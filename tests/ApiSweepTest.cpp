// Every exported operation that allocates, run on realistic inputs with allocation k refused
// (and every later one), for k = 0, 1, 2 ... until a run in which no allocation was refused.
// At every k: no crash, nothing of the module's heap left outstanding once the caller has
// released what it owns, and, for an operation that has a failure result, that result whenever
// an allocation was refused. The final run, with nothing refused, must give the same answer as
// a plain call.
//
// Whether an allocation was refused is read from the heap's attempt counter, so the test does
// not need to know how many allocations an operation makes.
#include <functional>
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

// What one run of an operation under fault injection did.
struct Attempt {
    bool refused = false;     // an allocation was refused during the call
    bool succeeded = false;   // the operation reported success (or the expected answer)
};

// Arms the fault injection for the call only and tells whether it bit.
class Window {
public:
    explicit Window(long k) : k_(k), attempts_(ZynHeap_getAllocationCount()) { ZynHeap_setFailAfter(k); }
    ~Window() { ZynHeap_setFailAfter(-1); }
    Window(const Window &) = delete;
    Window &operator=(const Window &) = delete;
    // Disarms and records the outcome.
    Attempt close(bool succeeded)
    {
        ZynHeap_setFailAfter(-1);
        return Attempt{ZynHeap_getAllocationCount() - attempts_ > k_, succeeded};
    }

private:
    long k_;
    long attempts_;
};

// Strict: a refused allocation must give the failure result. Lenient: the operation has no
// failure result (it returns void, or answers with a fallback), so only the absence of crashes
// and leaks is checked under failure.
enum class Kind { Strict, Lenient };

struct Figures {
    long operations = 0;
    long allocating = 0;   // operations that allocated at least once
    long failurePoints = 0;
    long leaks = 0;
};

// Names and values of a participant as an application configures one: loaded transports (one
// of them unknown to the middleware), a relay with a sub-transport, built-in transport and flow
// controller settings, security and the participant's own settings.
const std::vector<std::pair<const char *, const char *>> kParticipant = {
    {"dds.transport.load_plugins",
     "dds.transport.TCPv4.tcp1, dds.transport.relay.r1, com.acme.custom_transport"},
    {"dds.transport.TCPv4.tcp1.library", "libzyntcp.so"},
    {"dds.transport.TCPv4.tcp1.create_function", "ZynTransportTcpv4_create"},
    {"dds.transport.TCPv4.tcp1.server.bind_port", "7400"},
    {"dds.transport.relay.r1.create_function", "ZynTransportRelay_create"},
    {"dds.transport.relay.r1.subtransport", "TCPv4"},
    {"com.acme.custom_transport.create_function", "AcmeTransport_create"},
    {"com.acme.custom_transport.mode", "fast"},
    {"dds.transport.UDPv4.builtin.socket.send_buffer_size", "65536"},
    {"dds.transport.shmem.builtin.receive.buffer_size", "1048576"},
    {"dds.flow_controller.token_bucket.fc1.bucket.period", "10ms"},
    {"dds.flow_controller.token_bucket.fc1.bucket.max_tokens", "8"},
    {"dds.flow_controller.token_bucket.fc2.scheduling", "EDF"},
    {"dds.sec.auth.identity_ca", "file:/etc/dds/ca.pem"},
    {"dds.sec.auth.private_key", "file:/etc/dds/key.pem"},
    {"dds.transport.minimum_compatibility_version", "6.1.0"},
    {"dds.participant.index", "3"},
    {"dds.participant.rtps.port_base", "7400"},
};

const std::vector<std::pair<const char *, const char *>> kWriter = {
    {"dds.data_writer.history.plugin_name", "dds.data_writer.history.durable"},
    {"dds.data_writer.history.durable.storage.directory", "/var/lib/app/history"},
    {"dds.data_writer.heartbeat.period", "100ms"},
};

void fill(DDS_PropertyQosPolicy *policy, const std::vector<std::pair<const char *, const char *>> &properties)
{
    for (const auto &p : properties) {
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(policy, p.first, p.second, DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }
}

std::string describe(const DDS_PropertySeq *seq)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_PropertySeq_get_length(seq); ++i) {
        const DDS_Property_t *p = DDS_PropertySeq_get_reference(seq, i);
        out += std::string(p->name ? p->name : "(null)") + "=" + (p->value ? p->value : "(null)") + ";";
    }
    return out;
}

std::string describeTags(const DDS_TagSeq *seq)
{
    std::string out;
    for (DDS_Long i = 0; i < DDS_TagSeq_get_length(seq); ++i) {
        const DDS_Tag *t = DDS_TagSeq_get_reference(seq, i);
        out += std::string(t->name) + "=" + t->value + ";";
    }
    return out;
}

class ApiSweepTest : public ModuleTest {
protected:
    // Sweeps one operation. `run(k)` prepares its inputs, calls the operation inside a Window,
    // checks what it can and releases everything it made.
    void sweep(const char *operation, Kind kind, const std::function<Attempt(long)> &run)
    {
        SCOPED_TRACE(operation);
        long last = 0;
        const long points = sweepAllocationFailures([&](long k) {
            log.clear();
            const long before = ZynHeap_getOutstanding();
            const Attempt attempt = run(k);
            if (ZynHeap_getOutstanding() != before) {
                ++figures_.leaks;
                ADD_FAILURE() << operation << ": " << ZynHeap_getOutstanding() - before
                              << " allocation(s) leaked when allocation " << k << " was refused";
            }
            if (attempt.refused) {
                if (kind == Kind::Strict) {
                    EXPECT_FALSE(attempt.succeeded)
                        << operation << " reported success although allocation " << k << " was refused";
                }
                return false;
            }
            EXPECT_TRUE(attempt.succeeded) << operation << " failed with no allocation refused";
            last = k;
            return true;
        });
        EXPECT_EQ(points, last);
        std::printf("  %-72s %4ld failure points\n", operation, points);
        ++figures_.operations;
        figures_.allocating += points > 0 ? 1 : 0;
        figures_.failurePoints += points;
    }

    Figures figures_;
};

TEST_F(ApiSweepTest, EveryAllocatingOperationSurvivesEveryAllocationFailure)
{
    ScopedPolicy participant;
    fill(&participant, kParticipant);
    ScopedPolicy writer;
    fill(&writer, kWriter);
    const std::string participantText = describe(&participant.policy.value);

    // ---- single properties ----
    sweep("DDS_PropertyQosPolicyHelper_add_property", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        fill(&p, kParticipant);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_add_property(&p, "dds.participant.domain_tag", "blue",
                                                                 DDS_BOOLEAN_TRUE);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        // A failed add leaves the policy as it was.
        EXPECT_EQ(describe(&p.policy.value), rc == DDS_RETCODE_OK
                                                  ? participantText + "dds.participant.domain_tag=blue;"
                                                  : participantText);
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_assert_property (append)", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        fill(&p, kParticipant);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_assert_property(&p, "dds.participant.domain_tag", "blue",
                                                                    DDS_BOOLEAN_FALSE);
        return w.close(rc == DDS_RETCODE_OK);
    });
    sweep("DDS_PropertyQosPolicyHelper_assert_property (replace)", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        fill(&p, kParticipant);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_assert_property(&p, "dds.participant.index", "4",
                                                                    DDS_BOOLEAN_FALSE);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        const DDS_Property_t *index = DDS_PropertyQosPolicyHelper_lookup_property(&p, "dds.participant.index");
        EXPECT_STREQ(index->value, rc == DDS_RETCODE_OK ? "4" : "3");
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        fill(&p, kParticipant);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_assertPropertyWithPrefix(
            &p, "dds.transport.UDPv4.builtin", "multicast.ttl", "4", DDS_BOOLEAN_FALSE);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        if (rc == DDS_RETCODE_OK) {
            EXPECT_NE(DDS_PropertyQosPolicyHelper_lookup_property(&p, "dds.transport.UDPv4.builtin.multicast.ttl"),
                      nullptr);
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_lookup_property_with_prefix", Kind::Strict, [&](long k) {
        Window w(k);
        const DDS_Property_t *found = DDS_PropertyQosPolicyHelper_lookup_property_with_prefix(
            &participant, "dds.transport.TCPv4.tcp1", "server.bind_port");
        Attempt a = w.close(found != nullptr);
        if (found != nullptr) {
            EXPECT_STREQ(found->value, "7400");
        }
        return a;
    });
    sweep("DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix", Kind::Lenient, [&](long k) {
        ScopedPolicy p{{"dds.transport.UDPv4.builtin.multicast.enabled", "yes"}};
        DDS_Boolean value = DDS_BOOLEAN_FALSE;
        Window w(k);
        const auto rc = DDSPropertyQosPolicyHelper_lookupBooleanPropertyWithPrefix(
            &p, &value, "dds.transport.UDPv4.builtin", "multicast.enabled", DDS_BOOLEAN_FALSE);
        return w.close(rc == DDS_RETCODE_OK && value == DDS_BOOLEAN_TRUE);
    });

    // ---- lifecycle and presentation form ----
    sweep("DDS_PropertyQosPolicy_copy", Kind::Strict, [&](long k) {
        ScopedPolicy out{{"stale", "value"}};
        Window w(k);
        DDS_PropertyQosPolicy *result = DDS_PropertyQosPolicy_copy(&out, &participant);
        Attempt a = w.close(result != nullptr);
        if (result != nullptr) {
            EXPECT_TRUE(DDS_PropertyQosPolicy_equals(&out, &participant, DDS_BOOLEAN_FALSE));
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicy_setup_presentation_policyI", Kind::Strict, [&](long k) {
        TaviPropertyQosPolicy form{};
        Window w(k);
        const auto rc = DDS_PropertyQosPolicy_setup_presentation_policyI(&form, 32, 4096);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
        return a;
    });
    sweep("DDS_PropertyQosPolicy_to_presentation_qos_policy", Kind::Strict, [&](long k) {
        TaviPropertyQosPolicy form{};
        EXPECT_EQ(DDS_PropertyQosPolicy_setup_presentation_policyI(&form, 32, 4096), DDS_RETCODE_OK);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicy_to_presentation_qos_policy(&participant, &form);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
        return a;
    });
    {
        TaviPropertyQosPolicy form{};
        ASSERT_EQ(DDS_PropertyQosPolicy_setup_presentation_policyI(&form, 32, 4096), DDS_RETCODE_OK);
        ASSERT_EQ(DDS_PropertyQosPolicy_to_presentation_qos_policy(&participant, &form), DDS_RETCODE_OK);
        sweep("DDS_PropertyQosPolicy_from_presentation_qos_policy", Kind::Strict, [&](long k) {
            ScopedPolicy back{{"stale", "value"}};
            Window w(k);
            const auto rc = DDS_PropertyQosPolicy_from_presentation_qos_policy(&back, &form);
            Attempt a = w.close(rc == DDS_RETCODE_OK);
            // Failure keeps what the policy held; success gives back the participant exactly.
            EXPECT_EQ(describe(&back.policy.value), rc == DDS_RETCODE_OK ? participantText : "stale=value;");
            return a;
        });
        DDS_PropertyQosPolicy_finalize_presentation_policy(&form);
    }

    // ---- typed writers ----
    int anchor = 0;
    sweep("DDS_PropertyQosPolicyHelper_add_integer_property", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_add_integer_property(&p, "dds.participant.index", -17);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        DDS_Long back = 0;
        if (rc == DDS_RETCODE_OK) {
            EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_integer_property(&p, &back, "dds.participant.index"));
            EXPECT_EQ(back, -17);
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_add_unsigned_integer_property", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_add_unsigned_integer_property(&p, "dds.participant.rtps.host_id",
                                                                                 0xC0A80101u);
        return w.close(rc == DDS_RETCODE_OK);
    });
    sweep("DDS_PropertyQosPolicyHelper_add_pointer_property", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_add_pointer_property(&p, "com.acme.listener", &anchor);
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        void *back = nullptr;
        if (rc == DDS_RETCODE_OK) {
            EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_pointer_property(&p, &back, "com.acme.listener"));
            EXPECT_EQ(back, &anchor);
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_assert_pointer_property", Kind::Strict, [&](long k) {
        ScopedPolicy p{{"com.acme.listener", "0x1"}};
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_assert_pointer_property(&p, "com.acme.listener", &anchor);
        return w.close(rc == DDS_RETCODE_OK);
    });

    // ---- extraction ----
    const std::string udpOnly = "dds.transport.UDPv4.builtin.socket.send_buffer_size=65536;";
    sweep("DDS_PropertyQosPolicyHelper_get_properties", Kind::Strict, [&](long k) {
        ScopedSeq out;
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_get_properties(&participant, out.get(), "dds.transport.UDPv4.");
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        if (rc == DDS_RETCODE_OK) {
            EXPECT_EQ(describe(out.get()), udpOnly);
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicyHelper_append_properties", Kind::Strict, [&](long k) {
        ScopedSeq out;
        EXPECT_EQ(DDS_PropertySeq_add_element(out.get(), nullptr, "first", "1"), DDS_RETCODE_OK);
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_append_properties(&participant, out.get(), "dds.sec.");
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        if (rc == DDS_RETCODE_OK) {
            EXPECT_EQ(out.size(), 3);
        }
        return a;
    });
    // The closing "prefix" entry is best effort (a warning when it cannot be added), so the
    // result may be OK with an allocation refused: lenient, with the full output required when
    // nothing was refused.
    sweep("DDS_PropertyQosPolicyHelper_get_properties_without_prefix", Kind::Lenient, [&](long k) {
        ScopedSeq out;
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_get_properties_without_prefix(
            &participant, out.get(), "dds.flow_controller.token_bucket.fc1", DDS_BOOLEAN_TRUE);
        const bool complete = rc == DDS_RETCODE_OK &&
                              describe(out.get()) ==
                                  "bucket.period=10ms;bucket.max_tokens=8;prefix=dds.flow_controller.token_bucket.fc1.;";
        return w.close(complete);
    });
    sweep("DDS_PropertyQosPolicyHelper_getTrustPluginsProperties", Kind::Lenient, [&](long k) {
        ScopedSeq out;
        VorlActivityContext context{0xffffffffu};
        VorlWorker worker{"sweep", &context};
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_getTrustPluginsProperties(&participant, out.get(),
                                                                              "dds.sec.auth", &worker);
        // Under "dds.sec.auth" without prefix, the prefix entry, then "dds.sec." whole.
        return w.close(rc == DDS_RETCODE_OK && out.size() == 5);
    });
    sweep("DDS_PropertyQosPolicyHelper_get_properties_into_policy", Kind::Strict, [&](long k) {
        ScopedPolicy into{{"old", "1"}, {"older", "2"}, {"oldest", "3"}};
        Window w(k);
        const auto rc = DDS_PropertyQosPolicyHelper_get_properties_into_policy(&participant, &into,
                                                                               "dds.transport.TCPv4.tcp1");
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        if (rc == DDS_RETCODE_OK) {
            EXPECT_EQ(describe(&into.policy.value),
                      "library=libzyntcp.so;create_function=ZynTransportTcpv4_create;server.bind_port=7400;");
        }
        return a;
    });

    // ---- saving ----
    ZynXMLSaveContext measure = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
    DDS_PropertyQosPolicy_save(&participant, nullptr, &measure);
    ASSERT_GT(measure.outputStringLength, 0u);
    sweep("DDS_PropertyQosPolicy_save", Kind::Lenient, [&](long k) {
        std::vector<char> buffer(measure.outputStringLength + 1);
        ZynXMLSaveContext context = ZYN_XML_SAVE_CONTEXT_INITIALIZER;
        context.sout = buffer.data();
        context.ssize = DDS_UnsignedLong(buffer.size());
        Window w(k);
        DDS_PropertyQosPolicy_save(&participant, nullptr, &context);
        Attempt a = w.close(context.error == 0 && context.outputStringLength == measure.outputStringLength);
        if (!a.refused) {
            EXPECT_EQ(std::string(buffer.data()).find("key.pem"), std::string::npos);
        }
        return a;
    });

    // ---- transport minimum compatibility version ----
    sweep("DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion", Kind::Lenient, [&](long k) {
        DDS_ProductVersion_t version{0, 0, 0, 0};
        Window w(k);
        DDS_PropertyQosPolicy_getTransportMinimumCompatibilityVersion(&participant, &version, 0);
        return w.close(version.major == 6 && version.minor == 1 && version.release == 0);
    });

    // ---- plug-in prefix map ----
    sweep("DDS_PropertyQosPolicy_getPluginCreateFunction", Kind::Strict, [&](long k) {
        char createFunction[255];
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_getPluginCreateFunction(createFunction, &participant,
                                                                     "dds.transport.relay.r1");
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_STREQ(createFunction, "ZynTransportRelay_create");
        }
        return a;
    });
    // A plug-in name past the fixed 1024-character buffer: the composed name goes to the heap.
    const std::string longPlugin = "dds.transport.TCPv4." + std::string(1100, 'w');
    ScopedPolicy longNames;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&longNames, (longPlugin + ".create_function").c_str(),
                                                       "ZynTransportTcpv4_create", DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&longNames, "dds.data_writer.history.plugin_name",
                                                       longPlugin.c_str(), DDS_BOOLEAN_FALSE),
              DDS_RETCODE_OK);
    sweep("DDS_PropertyQosPolicy_getPluginCreateFunction (name over 1024 characters)", Kind::Strict, [&](long k) {
        char createFunction[255];
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_getPluginCreateFunction(createFunction, &longNames, longPlugin.c_str());
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_STREQ(createFunction, "ZynTransportTcpv4_create");
        }
        return a;
    });
    sweep("DDS_PropertyQosPolicy_populateWriterHistoryPrefixes (name over 1024 characters)", Kind::Strict,
          [&](long k) {
              DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
              Window w(k);
              const int ok = DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&map, &longNames);
              Attempt a = w.close(ok == 1 && DDS_TagSeq_get_length(&map) == 1);
              DDS_TagSeq_finalize(&map);
              return a;
          });
    sweep("DDS_PropertyQosPolicy_populateTransportPluginPrefixes", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populateTransportPluginPrefixes(
            &map, &omitted, &participant, "com.acme.custom_transport", "com.acme.custom_transport");
        Attempt a = w.close(ok == 1 && DDS_StringSeq_get_length(&omitted) == 1);
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&omitted);
        return a;
    });
    const std::string loaded = "dds.transport.TCPv4.tcp1=TCPV4;dds.transport.relay.r1=RELAY;";
    sweep("DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, &participant);
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_EQ(describeTags(&map), loaded);
            EXPECT_EQ(DDS_StringSeq_get_length(&omitted), 1);
        }
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&omitted);
        return a;
    });
    sweep("DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
        EXPECT_EQ(DDS_PropertyQosPolicy_populatePluginPrefixesPerLoadedPlugin(&map, &omitted, &participant), 1);
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populatePluginPrefixesPerSubtransport(&map, &omitted, &participant);
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_EQ(describeTags(&map), loaded + "dds.transport.relay.r1.TCPv4=TCPV4;");
        }
        DDS_TagSeq_finalize(&map);
        DDS_StringSeq_finalize(&omitted);
        return a;
    });
    sweep("DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populateBuiltinTransportPluginPrefixes(&map);
        Attempt a = w.close(ok == 1 && DDS_TagSeq_get_length(&map) == 4);
        DDS_TagSeq_finalize(&map);
        return a;
    });
    sweep("DDS_PropertyQosPolicy_populateFlowControllerPrefixes", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populateFlowControllerPrefixes(&map, &participant);
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_EQ(describeTags(&map), "dds.flow_controller.token_bucket.fc1=FLOW_CONTROLLER;"
                                          "dds.flow_controller.token_bucket.fc2=FLOW_CONTROLLER;");
        }
        DDS_TagSeq_finalize(&map);
        return a;
    });
    sweep("DDS_PropertyQosPolicy_populateWriterHistoryPrefixes", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_populateWriterHistoryPrefixes(&map, &writer);
        Attempt a = w.close(ok == 1);
        if (ok) {
            EXPECT_EQ(describeTags(&map), "dds.data_writer.history.durable=WRITER_HISTORY;");
        }
        DDS_TagSeq_finalize(&map);
        return a;
    });

    // ---- valid plug-in property arrays ----
    auto releaseArray = [](char **array, int size) {
        if (array == nullptr) return;
        for (int i = 0; i < size; ++i) DDS_String_free(array[i]);
        ZynOsapiHeap_freeArray(array);
    };
    for (const auto kind : {DDS_PARTICIPANT_ENTITY_KIND, DDS_DATAWRITER_ENTITY_KIND}) {
        const std::string name = std::string("DDS_PropertyQosPolicy_populatePluginProperties (") +
                                 (kind == DDS_PARTICIPANT_ENTITY_KIND ? "participant)" : "data writer)");
        DDS_PropertyQosPolicy *policy = kind == DDS_PARTICIPANT_ENTITY_KIND ? &participant : &writer;
        sweep(name.c_str(), Kind::Strict, [&](long k) {
            char **validPublic = nullptr;
            char **validPrivate = nullptr;
            int publicSize = 1;
            int privateSize = 1;
            DDS_StringSeq omitted = DDS_SEQUENCE_INITIALIZER;
            Window w(k);
            const int ok = DDS_PropertyQosPolicy_populatePluginProperties(
                &validPublic, &validPrivate, &publicSize, &privateSize, &omitted, policy, kind);
            Attempt a = w.close(ok == 1 && validPublic != nullptr && validPrivate != nullptr);
            releaseArray(validPublic, publicSize);
            releaseArray(validPrivate, privateSize);
            DDS_StringSeq_finalize(&omitted);
            return a;
        });
    }

    // ---- property-name validation and its action ----
    for (const auto kind : {DDS_PARTICIPANT_ENTITY_KIND, DDS_DATAWRITER_ENTITY_KIND}) {
        DDS_PropertyQosPolicy *policy = kind == DDS_PARTICIPANT_ENTITY_KIND ? &participant : &writer;
        ASSERT_EQ(DDS_PropertyQosPolicy_validate_property_names_per_entity(
                      policy, kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION),
                  1)
            << log.dump();
        const std::string name = std::string("DDS_PropertyQosPolicy_validate_property_names_per_entity (") +
                                 (kind == DDS_PARTICIPANT_ENTITY_KIND ? "participant)" : "data writer)");
        sweep(name.c_str(), Kind::Strict, [&](long k) {
            Window w(k);
            const int ok = DDS_PropertyQosPolicy_validate_property_names_per_entity(
                policy, kind, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
            return w.close(ok == 1);
        });
    }
    sweep("DDS_PropertyQosPolicy_validate_plugin_property_suffixes", Kind::Strict, [&](long k) {
        ScopedPolicy relative{{"socket.send_buffer_size", "65536"}, {"aliases", "udp"}, {"private_key", "x"}};
        static const char *const publicSuffixes[] = {"aliases", "socket.send_buffer_size", ""};
        static const char *const privateSuffixes[] = {"private_key", ""};
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_validate_plugin_property_suffixes(
            &relative, "dds.transport.UDPv4.builtin", publicSuffixes, privateSuffixes, nullptr,
            DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_EXCEPTION);
        return w.close(ok == 1);
    });
    sweep("DDS_PropertyQosPolicy_parse_property_validation_action", Kind::Strict, [&](long k) {
        ScopedPolicy p{{"dds.participant.property_validation_action", "VALIDATION_ACTION_WARNING"}};
        DDS_PropertyQosPolicyValidationAction action = DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_SKIP;
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_parse_property_validation_action(&action, &p);
        return w.close(ok == 1 && action == DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING);
    });
    sweep("DDS_PropertyQosPolicy_add_property_validation_action", Kind::Strict, [&](long k) {
        ScopedPolicy p;
        fill(&p, kParticipant);
        Window w(k);
        const int ok = DDS_PropertyQosPolicy_add_property_validation_action(
            &p, DDS_PROPERTY_QOS_POLICY_VALIDATION_ACTION_WARNING);
        Attempt a = w.close(ok == 1);
        const DDS_Property_t *written = DDS_PropertyQosPolicyHelper_lookup_property(&p, "property_validation_action");
        if (ok) {
            EXPECT_TRUE(written != nullptr && std::string(written->value) == "VALIDATION_ACTION_WARNING");
        } else {
            EXPECT_EQ(written, nullptr);
        }
        return a;
    });

    // ---- mutability ----
    // Found through the loaded plug-in's create function: the lookup that allocates.
    const DDS_PropertyQosPolicyMutability tcpMutability =
        DDS_PropertyQosPolicyHelper_get_property_mutability("dds.transport.TCPv4.tcp1.server.bind_port", &participant);
    sweep("DDS_PropertyQosPolicyHelper_get_property_mutability", Kind::Lenient, [&](long k) {
        Window w(k);
        const auto m = DDS_PropertyQosPolicyHelper_get_property_mutability(
            "dds.transport.TCPv4.tcp1.server.bind_port", &participant);
        Attempt a = w.close(m == tcpMutability);
        EXPECT_TRUE(m == DDS_PROPERTY_QOS_MUTABLE || m == DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE ||
                    m == DDS_PROPERTY_QOS_IMMUTABLE);
        return a;
    });
    {
        ScopedPolicy changed;
        fill(&changed, kParticipant);
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&changed, "dds.transport.TCPv4.tcp1.server.bind_port",
                                                              "7410", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&changed, "dds.flow_controller.token_bucket.fc1.bucket.period",
                                                              "20ms", DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
        for (int enabled : {0, 1}) {
            const int expected = DDS_PropertyQosPolicy_isMutabilityConsistent(&changed, &participant, enabled);
            const std::string name =
                std::string("DDS_PropertyQosPolicy_isMutabilityConsistent (") + (enabled ? "enabled)" : "not enabled)");
            sweep(name.c_str(), Kind::Lenient, [&](long k) {
                Window w(k);
                const int ok = DDS_PropertyQosPolicy_isMutabilityConsistent(&changed, &participant, enabled);
                Attempt a = w.close(ok == expected);
                EXPECT_TRUE(ok == 0 || ok == 1);
                return a;
            });
        }
    }

    // ---- sequences and strings under the module ----
    sweep("DDS_StringSeq_from_delimited_string", Kind::Strict, [&](long k) {
        DDS_StringSeq seq = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const auto rc = DDS_StringSeq_from_delimited_string(&seq, "udp, shmem,,tcp1 , relay", ',');
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        if (rc == DDS_RETCODE_OK) {
            EXPECT_EQ(DDS_StringSeq_get_length(&seq), 4);
            EXPECT_STREQ(DDS_StringSeq_get(&seq, 3), "relay");
        }
        DDS_StringSeq_finalize(&seq);
        return a;
    });
    sweep("DDS_PropertySeq_copy", Kind::Strict, [&](long k) {
        ScopedSeq out;
        Window w(k);
        DDS_PropertySeq *result = DDS_PropertySeq_copy(out.get(), &participant.policy.value);
        Attempt a = w.close(result != nullptr);
        if (result != nullptr) {
            EXPECT_EQ(describe(out.get()), participantText);
        }
        return a;
    });
    sweep("DDS_TagSeq_add_element", Kind::Strict, [&](long k) {
        DDS_TagSeq map = DDS_SEQUENCE_INITIALIZER;
        Window w(k);
        const auto rc = DDS_TagSeq_add_element(&map, nullptr, "dds.transport.UDPv4.builtin", "UDPV4");
        Attempt a = w.close(rc == DDS_RETCODE_OK);
        EXPECT_EQ(DDS_TagSeq_get_length(&map), rc == DDS_RETCODE_OK ? 1 : 0);
        DDS_TagSeq_finalize(&map);
        return a;
    });

    RecordProperty("operations_swept", static_cast<int>(figures_.operations));
    RecordProperty("failure_points_tried", static_cast<int>(figures_.failurePoints));
    RecordProperty("leaks_found", static_cast<int>(figures_.leaks));
    RecordProperty("operations_allocating", static_cast<int>(figures_.allocating));
    std::printf("API allocation-failure sweep: %ld operations swept (%ld of them allocate on these inputs), "
                "%ld failure points tried, leaks found: %ld\n",
                figures_.operations, figures_.allocating, figures_.failurePoints, figures_.leaks);
    // Most of the operations must really have been put under failure.
    EXPECT_GE(figures_.allocating * 4, figures_.operations * 3);
}

}  // namespace
