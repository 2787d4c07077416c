// Property mutability: the lookup by known plug-in prefix, by a loaded plug-in's create function
// and by the middleware's own names, and the check of a requested policy change.
#include <string>
#include <vector>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class MutabilityTest : public ModuleTest {};

constexpr auto kMutable = DDS_PROPERTY_QOS_MUTABLE;
constexpr auto kUntilEnable = DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE;
constexpr auto kImmutable = DDS_PROPERTY_QOS_IMMUTABLE;
// Never a real answer, yet within the enumeration's range: shows whether a lookup wrote its
// output.
const auto kUnwritten = static_cast<DDS_PropertyQosPolicyMutability>(3);

DDS_PropertyQosPolicyMutability asResult(PROPERTYValueMutability m)
{
    return static_cast<DDS_PropertyQosPolicyMutability>(m);
}

// The first of the middleware's own properties with this mutability.
std::string ownName(PROPERTYValueMutability wanted)
{
    for (const PROPERTYValueAttributes &row : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES) {
        if (row.mutability == wanted) {
            return row.propertyName;
        }
    }
    ADD_FAILURE() << "no property of mutability " << wanted;
    return "";
}

const PROPERTYPluginValueAttributes *findPlugin(const std::string &relativeName,
                                                PROPERTYValueMutability *mutability)
{
    for (const PROPERTYPluginValueAttributes &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        for (DDS_Long i = 0; i < plugin.propertiesSize; ++i) {
            if (relativeName == plugin.properties[i].propertyName) {
                *mutability = plugin.properties[i].mutability;
                return &plugin;
            }
        }
    }
    return nullptr;
}

bool inTable(const PROPERTYPluginValueAttributes &plugin, const std::string &relativeName)
{
    for (DDS_Long i = 0; i < plugin.propertiesSize; ++i) {
        if (relativeName == plugin.properties[i].propertyName) {
            return true;
        }
    }
    return false;
}

// A known plug-in with a property that is not MUTABLE, the property's relative name and
// mutability: what a loaded plug-in borrows through its create function.
struct Borrowed {
    const PROPERTYPluginValueAttributes *plugin = nullptr;
    std::string property;
    PROPERTYValueMutability mutability = PROPERTY_VALUE_MUTABILITY_MUTABLE;
};

Borrowed borrowable(const PROPERTYPluginValueAttributes *except = nullptr)
{
    for (const PROPERTYPluginValueAttributes &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        for (DDS_Long i = 0; i < plugin.propertiesSize; ++i) {
            const PROPERTYValueAttributes &p = plugin.properties[i];
            if (p.mutability != PROPERTY_VALUE_MUTABILITY_MUTABLE &&
                (except == nullptr || !inTable(*except, p.propertyName)) && &plugin != except) {
                return {&plugin, p.propertyName, p.mutability};
            }
        }
    }
    ADD_FAILURE() << "no known plug-in property to borrow";
    return {};
}

DDS_PropertyQosPolicyMutability mutabilityOf(const std::string &name,
                                             const DDS_PropertyQosPolicy *policy)
{
    return DDS_PropertyQosPolicyHelper_get_property_mutability(name.c_str(), policy);
}

void put(ScopedPolicy &policy, const std::string &name, const std::string &value,
         DDS_Boolean propagate = DDS_BOOLEAN_FALSE)
{
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, name.c_str(), value.c_str(),
                                                          propagate),
              DDS_RETCODE_OK);
}

}  // namespace

TEST_F(MutabilityTest, EveryTableEntryIsFoundAndUnknownNamesAreMutable)
{
    ScopedPolicy empty;
    for (const PROPERTYValueAttributes &row : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES) {
        EXPECT_EQ(mutabilityOf(row.propertyName, &empty), asResult(row.mutability))
            << row.propertyName;
    }
    for (const PROPERTYPluginValueAttributes &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        for (DDS_Long i = 0; i < plugin.propertiesSize; ++i) {
            const std::string name =
                std::string(plugin.prefix) + "." + plugin.properties[i].propertyName;
            EXPECT_EQ(mutabilityOf(name, &empty), asResult(plugin.properties[i].mutability))
                << name;
        }
    }
    for (const char *unknown : {"app.setting", "", "dds", "zzz.after.everything", "0"}) {
        EXPECT_EQ(mutabilityOf(unknown, &empty), kMutable) << unknown;
    }
    // A name is compared whole, with letter case.
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    EXPECT_EQ(mutabilityOf(immutable + "x", &empty), kMutable);
    EXPECT_EQ(mutabilityOf(immutable.substr(0, immutable.size() - 1), &empty), kMutable);
    std::string upper = immutable;
    upper[0] = static_cast<char>(upper[0] - 'a' + 'A');
    EXPECT_EQ(mutabilityOf(upper, &empty), kMutable);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, NullArgumentsArePreconditionFailures)
{
    ScopedPolicy policy;
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_property_mutability(nullptr, &policy), kMutable);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"name == ((void *)0)\""});
    log.clear();
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_property_mutability(immutable.c_str(), nullptr),
              kMutable);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"policy == ((void *)0)\""});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_get_property_mutability(nullptr, nullptr), kMutable);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"name == ((void *)0)\""});

    // The internal lookups check the output first, then the name.
    auto m = kUnwritten;
    using Lookup = int (*)(DDS_PropertyQosPolicyMutability *, const char *);
    for (Lookup lookup : {Lookup{DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames},
                          Lookup{DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames}}) {
        log.clear();
        EXPECT_EQ(lookup(nullptr, nullptr), 0);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"mutability == ((void *)0)\""});
        log.clear();
        EXPECT_EQ(lookup(&m, nullptr), 0);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"property == ((void *)0)\""});
    }
    const Borrowed borrowed = borrowable();
    ASSERT_NE(borrowed.plugin, nullptr);
    const char *createFunction = borrowed.plugin->createFunction;
    struct Case {
        DDS_PropertyQosPolicyMutability *out;
        const char *property;
        const char *createFunction;
        const char *test;
    } cases[] = {
        {nullptr, "p", createFunction, "mutability == ((void *)0)"},
        {&m, nullptr, createFunction, "property == ((void *)0)"},
        {&m, "p", nullptr, "loadedCreateFunction == ((void *)0)"},
        {&m, borrowed.property.c_str(), "", "strlen(loadedCreateFunction) <= 0"},
    };
    for (const Case &c : cases) {
        log.clear();
        ZynLog_g_preconditionDetected = 0;
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(c.out, c.property,
                                                                   c.createFunction),
                  0);
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"" + std::string(c.test) + "\""});
        EXPECT_EQ(ZynLog_g_preconditionDetected, 1);
    }
    EXPECT_EQ(m, kUnwritten) << "no output on failure";
}

TEST_F(MutabilityTest, KnownPluginPrefixNeedsADotAndARest)
{
    auto m = kUnwritten;
    for (const PROPERTYPluginValueAttributes &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        const std::string prefix = plugin.prefix;
        SCOPED_TRACE(prefix);
        ASSERT_GT(plugin.propertiesSize, 0);
        const std::string first = plugin.properties[0].propertyName;
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
                      &m, prefix.c_str()),
                  0);
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
                      &m, (prefix + ".").c_str()),
                  0);
        // The prefix run together with a property, or another separator, is not under it.
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
                      &m, (prefix + first).c_str()),
                  0);
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
                      &m, (prefix + "_" + first).c_str()),
                  0);
        EXPECT_EQ(m, kUnwritten);
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(
                      &m, (prefix + "." + first).c_str()),
                  1);
        EXPECT_EQ(m, asResult(plugin.properties[0].mutability));
        m = kUnwritten;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, UnderAKnownPrefixOnlyThatPluginsTableCounts)
{
    // A property of plug-in B put under the prefix of plug-in A, whose table lacks it.
    const PROPERTYPluginValueAttributes &a = PROPERTY_PLUGIN_VALUE_ATTRIBUTES[0];
    const Borrowed b = borrowable(&a);
    ASSERT_NE(b.plugin, nullptr);
    const std::string name = std::string(a.prefix) + "." + b.property;
    auto m = kUnwritten;
    EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames(&m, name.c_str()),
              0);
    EXPECT_EQ(m, kUnwritten);
    ScopedPolicy empty;
    EXPECT_EQ(mutabilityOf(name, &empty), kMutable) << "not looked for under " << b.plugin->prefix;

    // Still found when A's prefix is loaded as a plug-in whose create function is B's.
    ScopedPolicy loaded;
    put(loaded, PROPERTY_LOAD_PLUGINS_ARRAY[0], a.prefix);
    put(loaded, std::string(a.prefix) + ".create_function", b.plugin->createFunction);
    EXPECT_EQ(mutabilityOf(name, &loaded), asResult(b.mutability));
    // A's own properties keep A's answer: its table is tried first.
    for (DDS_Long i = 0; i < a.propertiesSize; ++i) {
        const std::string own = std::string(a.prefix) + "." + a.properties[i].propertyName;
        EXPECT_EQ(mutabilityOf(own, &loaded), asResult(a.properties[i].mutability)) << own;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, LoadedPluginBorrowsTheTableOfItsCreateFunction)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const std::string plugin = "dds.transport.my_copy";
    for (const char *loadPlugins : PROPERTY_LOAD_PLUGINS_ARRAY) {
        SCOPED_TRACE(loadPlugins);
        ScopedPolicy policy;
        put(policy, loadPlugins, "other, " + plugin + " ,third");
        put(policy, plugin + ".create_function", b.plugin->createFunction);
        for (DDS_Long i = 0; i < b.plugin->propertiesSize; ++i) {
            const PROPERTYValueAttributes &p = b.plugin->properties[i];
            EXPECT_EQ(mutabilityOf(plugin + "." + p.propertyName, &policy), asResult(p.mutability))
                << p.propertyName;
        }
        EXPECT_EQ(mutabilityOf(plugin + ".not_in_any_table", &policy), kMutable);
        EXPECT_EQ(mutabilityOf(plugin + "X." + b.property, &policy), kMutable);
        EXPECT_EQ(mutabilityOf(plugin + "_" + b.property, &policy), kMutable)
            << "the plug-in's name must be followed by a dot";
        EXPECT_EQ(mutabilityOf(plugin, &policy), kMutable);
        // The internal lookup answers the same.
        auto m = kUnwritten;
        EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginCreateFunction(
                      &m, (plugin + "." + b.property).c_str(), &policy),
                  1);
        EXPECT_EQ(m, asResult(b.mutability));
    }

    // A create function matches every known one that it begins; an empty one matches none.
    auto m = kUnwritten;
    const std::string full = b.plugin->createFunction;
    EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(&m, b.property.c_str(),
                                                               full.c_str()),
              1);
    EXPECT_EQ(m, asResult(b.mutability));
    m = kUnwritten;
    EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(
                  &m, b.property.c_str(), full.substr(0, full.size() - 1).c_str()),
              1);
    EXPECT_EQ(m, asResult(b.mutability));
    m = kUnwritten;
    EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(&m, b.property.c_str(),
                                                               (full + "2").c_str()),
              0);
    EXPECT_EQ(m, kUnwritten);

    // A leading part shared by every known create function: each row is tried in turn until
    // one has the property.
    std::string common = PROPERTY_PLUGIN_VALUE_ATTRIBUTES[0].createFunction;
    for (const PROPERTYPluginValueAttributes &row : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        size_t n = 0;
        while (n < common.size() && row.createFunction[n] == common[n]) {
            ++n;
        }
        common.resize(n);
    }
    if (!common.empty()) {
        const PROPERTYPluginValueAttributes &last =
            PROPERTY_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT - 1];
        for (DDS_Long i = 0; i < last.propertiesSize; ++i) {
            PROPERTYValueMutability expected = PROPERTY_VALUE_MUTABILITY_MUTABLE;
            const std::string property = last.properties[i].propertyName;
            ASSERT_NE(findPlugin(property, &expected), nullptr);
            m = kUnwritten;
            EXPECT_EQ(DDS_PropertyQosPolicy_findPropertyInCustomPlugin(&m, property.c_str(),
                                                                       common.c_str()),
                      1);
            EXPECT_EQ(m, asResult(expected)) << property << ": the first row that has it";
        }
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, PluginsWithoutAKnownCreateFunctionAreSkipped)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    ScopedPolicy policy;
    // "dds.transport.my" has no create function, "dds.transport.my.shm" borrows B's: a name
    // under both is found through the second.
    put(policy, PROPERTY_LOAD_PLUGINS_ARRAY[0], "dds.transport.my,dds.transport.other");
    put(policy, PROPERTY_LOAD_PLUGINS_ARRAY[1], "dds.transport.my.shm");
    put(policy, "dds.transport.my.shm.create_function", b.plugin->createFunction);
    put(policy, "dds.transport.other.create_function", "SomebodyElse_create");
    EXPECT_EQ(mutabilityOf("dds.transport.my.shm." + b.property, &policy), asResult(b.mutability));
    EXPECT_EQ(mutabilityOf("dds.transport.my." + b.property, &policy), kMutable);
    EXPECT_EQ(mutabilityOf("dds.transport.other." + b.property, &policy), kMutable);
    EXPECT_EQ(log.size(), 0u) << "skipping is not a failure: " << log.dump();

    // A create-function lookup that fails ends that lookup; the own names are still tried.
    const std::string own = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE);
    const std::string pluginName = own.substr(0, own.rfind('.'));
    ScopedPolicy failing;
    put(failing, PROPERTY_LOAD_PLUGINS_ARRAY[2], pluginName);
    put(failing, pluginName + ".create_function", std::string(300, 'c'));
    log.clear();
    EXPECT_EQ(mutabilityOf(own, &failing), kUntilEnable);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                             {"create_function property for plugin ", pluginName}))
        << log.dump();
    EXPECT_EQ(log.count("ZYN_LOG_GET_FAILURE_ss"), 1u);

    // A loaded plug-in whose create function is known but lacks the property: own names next.
    ScopedPolicy known;
    put(known, PROPERTY_LOAD_PLUGINS_ARRAY[3], pluginName);
    put(known, pluginName + ".create_function", b.plugin->createFunction);
    log.clear();
    EXPECT_EQ(mutabilityOf(own, &known), kUntilEnable);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, CreateFunctionLookupUnderMemoryFailures)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const std::string value = "a,b,dds.transport.mine";
    ScopedPolicy policy;
    put(policy, PROPERTY_LOAD_PLUGINS_ARRAY[0], value);
    put(policy, "dds.transport.mine.create_function", b.plugin->createFunction);
    const std::string name = "dds.transport.mine." + b.property;
    sweepAllocationFailures([&](long k) {
        log.clear();
        DDS_PropertyQosPolicyMutability m;
        {
            FailAfter armed(k);
            m = mutabilityOf(name, &policy);
        }
        if (m == asResult(b.mutability)) {
            EXPECT_EQ(log.size(), 0u) << log.dump();
            return true;
        }
        EXPECT_EQ(m, kMutable) << "found nowhere else";
        expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                        {"plugins names from property qos with value ", value});
        return false;
    });

    // A plug-in name too long for the fixed buffer composes its property name on the heap.
    const std::string longPlugin = "dds.transport." + std::string(1100, 'n');
    ScopedPolicy longPolicy;
    put(longPolicy, PROPERTY_LOAD_PLUGINS_ARRAY[0], longPlugin);
    put(longPolicy, longPlugin + ".create_function", b.plugin->createFunction);
    const std::string longName = longPlugin + "." + b.property;
    const long points = sweepAllocationFailures([&](long k) {
        log.clear();
        DDS_PropertyQosPolicyMutability m;
        {
            FailAfter armed(k);
            m = mutabilityOf(longName, &longPolicy);
        }
        if (m == asResult(b.mutability)) {
            return true;
        }
        EXPECT_EQ(m, kMutable);
        EXPECT_TRUE(
            log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                         {"plugins names from property qos with value ", longPlugin}) ||
            (log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s", {"propertyNamePtr"}) &&
             log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                          {"create_function property for plugin ", longPlugin})))
            << log.dump();
        return false;
    });
    EXPECT_GE(points, 2) << "the split and the composed name";
}

TEST_F(MutabilityTest, ChangeCheckRefusesOnlyRealChangesOfWhatMayNotChange)
{
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    const std::string untilEnable = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE);
    const std::string changeable = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE);
    const char *immutableText = "cannot modify because it is immutable";
    const char *enabledText = "cannot modify because entity is already enabled";

    ScopedPolicy nothing;
    ScopedPolicy old;
    put(old, immutable, "1");
    put(old, untilEnable, "1");
    put(old, changeable, "1");

    for (int enabled : {0, 1}) {
        SCOPED_TRACE(enabled ? "enabled" : "not enabled");
        // Unchanged, also with every propagate flag turned over.
        {
            ScopedPolicy same;
            ASSERT_NE(DDS_PropertyQosPolicy_copy(&same, &old), nullptr);
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&same, &old, enabled), 1);
            for (DDS_Long i = 0; i < same.size(); ++i) {
                DDS_PropertySeq_get_reference(&same.policy.value, i)->propagate = DDS_BOOLEAN_TRUE;
            }
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&same, &old, enabled), 1);
            EXPECT_EQ(log.size(), 0u) << log.dump();
        }
        // An immutable property changed, or added: refused either way.
        for (bool add : {false, true}) {
            log.clear();
            ScopedPolicy next;
            if (!add) {
                ASSERT_NE(DDS_PropertyQosPolicy_copy(&next, &old), nullptr);
            }
            put(next, immutable, "2");
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next, add ? &nothing : &old,
                                                                   enabled),
                      0);
            expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                            {"entity", immutable, immutableText});
        }
        // Mutable until enable: changed or added, refused only once enabled.
        for (bool add : {false, true}) {
            log.clear();
            ScopedPolicy next;
            if (!add) {
                ASSERT_NE(DDS_PropertyQosPolicy_copy(&next, &old), nullptr);
            }
            put(next, untilEnable, "2");
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next, add ? &nothing : &old,
                                                                   enabled),
                      enabled ? 0 : 1);
            if (enabled) {
                expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                                {"entity", untilEnable, enabledText});
            } else {
                EXPECT_EQ(log.size(), 0u) << log.dump();
            }
        }
        // Mutable and unknown properties change freely; removals are not checked.
        {
            log.clear();
            ScopedPolicy next;
            put(next, changeable, "2");
            put(next, "app.own.setting", "x");
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next, &old, enabled), 1);
            ScopedPolicy none;
            EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&none, &old, enabled), 1);
            EXPECT_EQ(log.size(), 0u) << log.dump();
        }
    }

    // The check stops at the first refused property, in the new policy's order.
    log.clear();
    ScopedPolicy twoChanges;
    put(twoChanges, untilEnable, "3");
    put(twoChanges, immutable, "3");
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&twoChanges, &old, 1), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                    {"entity", untilEnable, enabledText});

    // Null policies.
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(nullptr, &old, 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"newProperties == ((void *)0)\""});
    log.clear();
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&old, nullptr, 0), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                    {"\"oldProperties == ((void *)0)\""});
}

TEST_F(MutabilityTest, ChangeCheckReadsLoadedPluginsFromTheNewPolicy)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const std::string plugin = "dds.transport.late";
    const std::string loadPlugins = PROPERTY_LOAD_PLUGINS_ARRAY[0];
    ScopedPolicy old;
    put(old, loadPlugins, plugin);

    // The create function arrives with the change: the borrowed table already applies.
    ScopedPolicy next;
    put(next, loadPlugins, plugin);
    put(next, plugin + ".create_function", b.plugin->createFunction);
    put(next, plugin + "." + b.property, "v");
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next, &old, 0),
              b.mutability == PROPERTY_VALUE_MUTABILITY_IMMUTABLE ? 0 : 1);
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&next, &old, 1), 0);
    EXPECT_TRUE(log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                             {"entity", plugin + "." + b.property,
                              b.mutability == PROPERTY_VALUE_MUTABILITY_IMMUTABLE
                                  ? "cannot modify because it is immutable"
                                  : "cannot modify because entity is already enabled"}))
        << log.dump();

    // Without the create function in the new policy, the property is an unknown one.
    log.clear();
    ScopedPolicy bare;
    put(bare, loadPlugins, plugin);
    put(bare, plugin + "." + b.property, "v");
    ScopedPolicy oldWithCreate;
    put(oldWithCreate, loadPlugins, plugin);
    put(oldWithCreate, plugin + ".create_function", b.plugin->createFunction);
    EXPECT_EQ(DDS_PropertyQosPolicy_isMutabilityConsistent(&bare, &oldWithCreate, 1), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}
