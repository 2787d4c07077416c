// Property mutability: the lookup by known plug-in prefix, by a loaded plug-in's create function
// and by the middleware's own names, and the check of a requested policy change.
#include <algorithm>
#include <string>

#include "infrastructure/PropertyQosPolicyInternal.h"
#include "support/TestSupport.h"

using namespace propqos_test;

namespace {

class MutabilityTest : public ModuleTest {};

using Mutability = DDS_PropertyQosPolicyMutability;
using Plugin = PROPERTYPluginValueAttributes;
constexpr Mutability kMutable = DDS_PROPERTY_QOS_MUTABLE;
const auto kUnwritten = static_cast<Mutability>(3);  // in range, never an answer: not written
Mutability as(PROPERTYValueMutability m) { return static_cast<Mutability>(m); }
constexpr auto byPrefix = DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginDefaultNames;
constexpr auto byOwnName = DDS_PropertyQosPolicy_findPropertyMutabilityUsingNonPluginDefaultNames;
constexpr auto byLoaded = DDS_PropertyQosPolicy_findPropertyMutabilityUsingPluginCreateFunction;
constexpr auto byCreateFunction = DDS_PropertyQosPolicy_findPropertyInCustomPlugin;
constexpr auto consistent = DDS_PropertyQosPolicy_isMutabilityConsistent;

Mutability mutabilityOf(const std::string &name, const DDS_PropertyQosPolicy *policy)
{
    return DDS_PropertyQosPolicyHelper_get_property_mutability(name.c_str(), policy);
}

// The first of the middleware's own properties with this mutability.
std::string ownName(PROPERTYValueMutability wanted)
{
    for (const PROPERTYValueAttributes &row : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES)
        if (row.mutability == wanted)
            return row.propertyName;
    ADD_FAILURE() << "no property of mutability " << wanted;
    return "";
}

// The entry of `relativeName` in the table of `plugin`, or null.
const PROPERTYValueAttributes *entry(const Plugin &plugin, const std::string &relativeName)
{
    for (DDS_Long i = 0; i < plugin.propertiesSize; ++i)
        if (relativeName == plugin.properties[i].propertyName)
            return &plugin.properties[i];
    return nullptr;
}

// A known plug-in's property that is not MUTABLE and that `except` lacks: what a loaded plug-in
// borrows through its create function.
struct Borrowed {
    const Plugin *plugin = nullptr;
    std::string property;
    Mutability mutability = kMutable;
};
Borrowed borrowable(const Plugin *except = nullptr)
{
    for (const Plugin &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES)
        for (DDS_Long i = 0; i < plugin.propertiesSize && &plugin != except; ++i) {
            const PROPERTYValueAttributes &p = plugin.properties[i];
            if (p.mutability != PROPERTY_VALUE_MUTABILITY_MUTABLE &&
                (except == nullptr || entry(*except, p.propertyName) == nullptr))
                return {&plugin, p.propertyName, as(p.mutability)};
        }
    ADD_FAILURE() << "no known plug-in property to borrow";
    return {};
}

// A policy holding these name/value pairs.
struct Policy : ScopedPolicy {
    Policy(std::initializer_list<std::pair<std::string, std::string>> properties)
    {
        for (const auto &p : properties)
            EXPECT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&policy, p.first.c_str(),
                                                                  p.second.c_str(), 0),
                      DDS_RETCODE_OK);
    }
};

}  // namespace

TEST_F(MutabilityTest, EveryTableEntryIsFoundAndUnknownNamesAreMutable)
{
    ScopedPolicy empty;
    for (const PROPERTYValueAttributes &row : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES)
        EXPECT_EQ(mutabilityOf(row.propertyName, &empty), as(row.mutability)) << row.propertyName;
    for (const Plugin &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES)
        for (DDS_Long i = 0; i < plugin.propertiesSize; ++i) {
            const std::string name =
                std::string(plugin.prefix) + "." + plugin.properties[i].propertyName;
            EXPECT_EQ(mutabilityOf(name, &empty), as(plugin.properties[i].mutability)) << name;
        }
    // A name is compared whole, with letter case.
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    std::string upper = immutable;
    upper[0] = static_cast<char>(upper[0] - 'a' + 'A');
    for (const std::string &unknown :
         {std::string("app.setting"), std::string(), std::string("dds"), std::string("zzz.after"),
          std::string("0"), immutable + "x", immutable.substr(0, immutable.size() - 1), upper})
        EXPECT_EQ(mutabilityOf(unknown, &empty), kMutable) << unknown;
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, NullArgumentsArePreconditionFailures)
{
    ScopedPolicy policy;
    auto m = kUnwritten;
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const char *create = b.plugin->createFunction;
    auto expectPrecondition = [&](int result, int expected, const std::string &test) {
        EXPECT_EQ(result, expected) << test;
        expectOnlyEntry(ZYN_LOG_LEVEL_PRECONDITION, "ZYN_LOG_PRECONDITION_FAILURE_s",
                        {"\"" + test + "\""});
        EXPECT_EQ(ZynLog_g_preconditionDetected, 1) << test;
        log.clear();
        ZynLog_g_preconditionDetected = 0;
    };
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    expectPrecondition(mutabilityOf(immutable, nullptr), kMutable, "policy == ((void *)0)");
    for (DDS_PropertyQosPolicy *p : {policy.get(), static_cast<DDS_PropertyQosPolicy *>(nullptr)})
        expectPrecondition(DDS_PropertyQosPolicyHelper_get_property_mutability(nullptr, p),
                           kMutable, "name == ((void *)0)");
    // The internal lookups check the output first, then the name.
    for (auto lookup : {byPrefix, byOwnName}) {
        expectPrecondition(lookup(nullptr, nullptr), 0, "mutability == ((void *)0)");
        expectPrecondition(lookup(&m, nullptr), 0, "property == ((void *)0)");
    }
    expectPrecondition(byCreateFunction(nullptr, "p", create), 0, "mutability == ((void *)0)");
    expectPrecondition(byCreateFunction(&m, nullptr, create), 0, "property == ((void *)0)");
    expectPrecondition(byCreateFunction(&m, "p", nullptr), 0,
                       "loadedCreateFunction == ((void *)0)");
    expectPrecondition(byCreateFunction(&m, b.property.c_str(), ""), 0,
                       "strlen(loadedCreateFunction) <= 0");
    EXPECT_EQ(m, kUnwritten) << "no output on failure";
    expectPrecondition(consistent(nullptr, &policy, 0), 0, "newProperties == ((void *)0)");
    expectPrecondition(consistent(&policy, nullptr, 0), 0, "oldProperties == ((void *)0)");
}

TEST_F(MutabilityTest, UnderAKnownPrefixOnlyThatPluginsTableCountsAfterADot)
{
    auto m = kUnwritten;
    for (const Plugin &plugin : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        const std::string prefix = plugin.prefix, first = plugin.properties[0].propertyName;
        // The prefix alone, with a dot only, run together with a property or another separator.
        for (const std::string &name : {prefix, prefix + ".", prefix + first, prefix + "_" + first})
            EXPECT_EQ(byPrefix(&m, name.c_str()), 0) << name;
        EXPECT_EQ(m, kUnwritten);
        EXPECT_EQ(byPrefix(&m, (prefix + "." + first).c_str()), 1) << prefix;
        EXPECT_EQ(m, as(plugin.properties[0].mutability)) << prefix;
        m = kUnwritten;
    }
    // A property of plug-in B put under the prefix of plug-in A, whose table lacks it: not
    // looked for under B, unless A's prefix is loaded as a plug-in whose create function is B's.
    // A's own properties keep A's answer, as its table is tried first.
    const Plugin &a = PROPERTY_PLUGIN_VALUE_ATTRIBUTES[0];
    const Borrowed b = borrowable(&a);
    ASSERT_NE(b.plugin, nullptr);
    const std::string name = std::string(a.prefix) + "." + b.property;
    ScopedPolicy empty;
    Policy loaded{{PROPERTY_LOAD_PLUGINS_ARRAY[0], a.prefix},
                  {std::string(a.prefix) + ".create_function", b.plugin->createFunction}};
    EXPECT_EQ(byPrefix(&m, name.c_str()), 0);
    EXPECT_EQ(m, kUnwritten);
    EXPECT_EQ(mutabilityOf(name, &empty), kMutable);
    EXPECT_EQ(mutabilityOf(name, &loaded), b.mutability);
    for (DDS_Long i = 0; i < a.propertiesSize; ++i) {
        const std::string own = std::string(a.prefix) + "." + a.properties[i].propertyName;
        EXPECT_EQ(mutabilityOf(own, &loaded), as(a.properties[i].mutability)) << own;
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, LoadedPluginBorrowsTheTableOfItsCreateFunction)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const std::string plugin = "dds.transport.my_copy", create = b.plugin->createFunction;
    for (const char *loadPlugins : PROPERTY_LOAD_PLUGINS_ARRAY) {
        SCOPED_TRACE(loadPlugins);
        Policy policy{{loadPlugins, "other, " + plugin + " ,third"},
                      {plugin + ".create_function", create}};
        for (DDS_Long i = 0; i < b.plugin->propertiesSize; ++i) {
            const PROPERTYValueAttributes &p = b.plugin->properties[i];
            EXPECT_EQ(mutabilityOf(plugin + "." + p.propertyName, &policy), as(p.mutability))
                << p.propertyName;
        }
        // The plug-in's name must be followed by a dot, and the rest be in the borrowed table.
        for (const std::string &name : {plugin + ".not_in_any_table", plugin + "X." + b.property,
                                        plugin + "_" + b.property, plugin})
            EXPECT_EQ(mutabilityOf(name, &policy), kMutable) << name;
        auto m = kUnwritten;  // the internal lookup answers the same
        EXPECT_EQ(byLoaded(&m, (plugin + "." + b.property).c_str(), &policy), 1);
        EXPECT_EQ(m, b.mutability);
    }
    // A create function matches every known one that it begins.
    for (const std::string &given : {create, create.substr(0, create.size() - 1), create + "2"}) {
        auto m = kUnwritten;
        const int found = byCreateFunction(&m, b.property.c_str(), given.c_str());
        EXPECT_EQ(std::make_pair(found, m), given.size() > create.size()
                                                ? std::make_pair(0, kUnwritten)
                                                : std::make_pair(1, b.mutability))
            << given;
    }
    // A leading part shared by every known create function: the rows are tried in turn until
    // one has the property.
    std::string common = PROPERTY_PLUGIN_VALUE_ATTRIBUTES[0].createFunction;
    for (const Plugin &row : PROPERTY_PLUGIN_VALUE_ATTRIBUTES)
        common.resize(std::mismatch(common.begin(), common.end(), row.createFunction).first -
                      common.begin());
    const Plugin &last =
        PROPERTY_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT - 1];
    for (DDS_Long i = 0; i < last.propertiesSize && !common.empty(); ++i) {
        const std::string property = last.properties[i].propertyName;
        const PROPERTYValueAttributes *first = nullptr;
        for (const Plugin &row : PROPERTY_PLUGIN_VALUE_ATTRIBUTES)
            first = first != nullptr ? first : entry(row, property);
        auto m = kUnwritten;
        EXPECT_EQ(byCreateFunction(&m, property.c_str(), common.c_str()), 1) << property;
        EXPECT_EQ(m, as(first->mutability)) << property << ": the first row that has it";
    }
    EXPECT_EQ(log.size(), 0u) << log.dump();
}

TEST_F(MutabilityTest, PluginsWithoutAKnownCreateFunctionAreSkipped)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    // "dds.transport.my" has no create function, "dds.transport.my.shm" borrows B's: a name
    // under both is found through the second.
    Policy policy{{PROPERTY_LOAD_PLUGINS_ARRAY[0], "dds.transport.my,dds.transport.other"},
                  {PROPERTY_LOAD_PLUGINS_ARRAY[1], "dds.transport.my.shm"},
                  {"dds.transport.my.shm.create_function", b.plugin->createFunction},
                  {"dds.transport.other.create_function", "SomebodyElse_create"}};
    EXPECT_EQ(mutabilityOf("dds.transport.my.shm." + b.property, &policy), b.mutability);
    EXPECT_EQ(mutabilityOf("dds.transport.my." + b.property, &policy), kMutable);
    EXPECT_EQ(mutabilityOf("dds.transport.other." + b.property, &policy), kMutable);
    EXPECT_EQ(log.size(), 0u) << "skipping is not a failure: " << log.dump();

    // A create-function lookup that fails, or finds a known create function lacking the
    // property, ends that lookup; the own names are still tried.
    const std::string own = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE);
    const std::string pluginName = own.substr(0, own.rfind('.'));
    for (bool failing : {true, false}) {
        Policy loaded{{PROPERTY_LOAD_PLUGINS_ARRAY[failing ? 2 : 3], pluginName},
                      {pluginName + ".create_function",
                       failing ? std::string(300, 'c') : std::string(b.plugin->createFunction)}};
        log.clear();
        EXPECT_EQ(mutabilityOf(own, &loaded), DDS_PROPERTY_QOS_MUTABLE_UNTIL_ENABLE);
        EXPECT_EQ(log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                               {"create_function property for plugin ", pluginName}),
                  failing)
            << log.dump();
        EXPECT_EQ(log.count("ZYN_LOG_GET_FAILURE_ss"), failing ? 1u : 0u);
        EXPECT_EQ(log.size() == 0, !failing);
    }
}

TEST_F(MutabilityTest, CreateFunctionLookupUnderMemoryFailures)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    // A short plug-in name, and one too long for the fixed buffer, composed on the heap.
    const std::string longPlugin = "dds.transport." + std::string(1100, 'n');
    for (const std::string &plugin : {std::string("dds.transport.mine"), longPlugin}) {
        const std::string value = "a,b," + plugin, name = plugin + "." + b.property;
        Policy policy{{PROPERTY_LOAD_PLUGINS_ARRAY[0], value},
                      {plugin + ".create_function", b.plugin->createFunction}};
        const long points = sweepAllocationFailures([&](long k) {
            log.clear();
            Mutability m;
            {
                FailAfter armed(k);
                m = mutabilityOf(name, &policy);
            }
            if (m == b.mutability) {
                EXPECT_EQ(log.size(), 0u) << log.dump();
                return true;
            }
            EXPECT_EQ(m, kMutable) << "found nowhere else";
            // The split failed, or the composed name of the long plug-in's create function.
            if (!log.contains(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_OUT_OF_RESOURCES_s",
                              {"propertyNamePtr"})) {
                expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                                {"plugins names from property qos with value ", value});
            } else {
                EXPECT_TRUE(plugin == longPlugin &&
                            log.contains(ZYN_LOG_LEVEL_ERROR, "ZYN_LOG_GET_FAILURE_ss",
                                         {"create_function property for plugin ", plugin}))
                    << log.dump();
            }
            return false;
        });
        EXPECT_GE(points, 2) << "the split and the composed name";
    }
}

TEST_F(MutabilityTest, ChangeCheckRefusesOnlyRealChangesOfWhatMayNotChange)
{
    const std::string immutable = ownName(PROPERTY_VALUE_MUTABILITY_IMMUTABLE);
    const std::string untilEnable = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE);
    const std::string changeable = ownName(PROPERTY_VALUE_MUTABILITY_MUTABLE);
    const char *immutableText = "cannot modify because it is immutable";
    const char *enabledText = "cannot modify because entity is already enabled";
    ScopedPolicy nothing;
    Policy old{{immutable, "1"}, {untilEnable, "1"}, {changeable, "1"}};
    const struct {
        std::string name;
        const char *refusedBefore, *refusedOnceEnabled;  // the reason, or null when allowed
    } cases[] = {{immutable, immutableText, immutableText},
                 {untilEnable, nullptr, enabledText},
                 {changeable, nullptr, nullptr},
                 {"app.own.setting", nullptr, nullptr}};
    for (int enabled : {0, 1}) {
        // Unchanged, also with every propagate flag turned over; or with properties removed.
        ScopedPolicy same;
        ASSERT_NE(DDS_PropertyQosPolicy_copy(&same, &old), nullptr);
        EXPECT_EQ(consistent(&same, &old, enabled), 1);
        for (DDS_Long i = 0; i < same.size(); ++i)
            DDS_PropertySeq_get_reference(&same.policy.value, i)->propagate = DDS_BOOLEAN_TRUE;
        EXPECT_EQ(consistent(&same, &old, enabled), 1);
        EXPECT_EQ(consistent(&nothing, &old, enabled), 1);
        EXPECT_EQ(log.size(), 0u) << log.dump();
        // Each property changed, or added.
        for (const auto &c : cases) {
            for (bool add : {false, true}) {
                SCOPED_TRACE(c.name + (add ? " added" : " changed") + (enabled ? ", enabled" : ""));
                log.clear();
                ScopedPolicy next;
                ASSERT_NE(DDS_PropertyQosPolicy_copy(&next, add ? &nothing : &old), nullptr);
                ASSERT_EQ(
                    DDS_PropertyQosPolicyHelper_assert_property(&next, c.name.c_str(), "2", 0),
                    DDS_RETCODE_OK);
                const char *reason = enabled ? c.refusedOnceEnabled : c.refusedBefore;
                EXPECT_EQ(consistent(&next, add ? &nothing : &old, enabled), reason ? 0 : 1);
                if (reason != nullptr) {
                    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                                    {"entity", c.name, reason});
                } else {
                    EXPECT_EQ(log.size(), 0u) << log.dump();
                }
            }
        }
    }
    // The check stops at the first refused property, in the new policy's order.
    log.clear();
    Policy twoChanges{{untilEnable, "3"}, {immutable, "3"}};
    EXPECT_EQ(consistent(&twoChanges, &old, 1), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                    {"entity", untilEnable, enabledText});
}

TEST_F(MutabilityTest, ChangeCheckReadsLoadedPluginsFromTheNewPolicy)
{
    const Borrowed b = borrowable();
    ASSERT_NE(b.plugin, nullptr);
    const std::string plugin = "dds.transport.late", loadPlugins = PROPERTY_LOAD_PLUGINS_ARRAY[0];
    const std::string name = plugin + "." + b.property, create = plugin + ".create_function";
    const bool immutable = b.mutability == DDS_PROPERTY_QOS_IMMUTABLE;
    // The create function arrives with the change: the borrowed table already applies. Without
    // it in the new policy, the property is an unknown one.
    Policy old{{loadPlugins, plugin}}, bare{{loadPlugins, plugin}, {name, "v"}};
    Policy next{{loadPlugins, plugin}, {create, b.plugin->createFunction}, {name, "v"}};
    Policy oldWithCreate{{loadPlugins, plugin}, {create, b.plugin->createFunction}};
    EXPECT_EQ(consistent(&next, &old, 0), immutable ? 0 : 1);
    log.clear();
    EXPECT_EQ(consistent(&next, &old, 1), 0);
    expectOnlyEntry(ZYN_LOG_LEVEL_ERROR, "DDS_LOG_INCONSISTENT_PROPERTY_sss",
                    {"entity", name,
                     immutable ? "cannot modify because it is immutable"
                               : "cannot modify because entity is already enabled"});
    log.clear();
    EXPECT_EQ(consistent(&bare, &oldWithCreate, 1), 1);
    EXPECT_EQ(log.size(), 0u) << log.dump();
}
