/* Consistency of the constant tables with one another. Each table's own shape (counts, sort
 * order, row order of the plug-in table) is checked at compile time in its .cpp; these tests cover
 * what spans tables and translation units. */
#include "tables/Tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>
#include <vector>

namespace {

using Names = std::vector<std::string>;

/* The entries of a name table before its closing "". Fails the test when an entry is null or no
 * "" shows up within a generous bound (a table without its end entry). */
Names namesOf(const char *const *table, const char *what) {
    constexpr int kBound = 4096;
    Names out;
    for (int i = 0; i < kBound; ++i) {
        if (table[i] == nullptr) {
            ADD_FAILURE() << what << ": null entry at " << i;
            return out;
        }
        if (table[i][0] == '\0') return out;
        out.emplace_back(table[i]);
    }
    ADD_FAILURE() << what << ": no closing \"\" within " << kBound << " entries";
    return out;
}

bool contains(const Names &names, const std::string &name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool startsWith(const std::string &s, const std::string &head) { return s.compare(0, head.size(), head) == 0; }

bool endsWith(const std::string &s, const std::string &tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

/* The matcher's rule: `needle` occurs in `haystack`, letter case ignored. */
bool iContains(std::string haystack, std::string needle) {
    auto lower = [](std::string s) {
        std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
        return s;
    };
    return lower(haystack).find(lower(needle)) != std::string::npos;
}

struct Kind {
    const char *label;
    const char *const *prefixes;
    const char *const *open;
    const char *const *secret;
};

const Kind kKinds[] = {
    {"participant", PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT, PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT,
     PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT},
    {"data writer", PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER, PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER,
     PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER},
    {"data reader", PROPERTY_VALID_PROPERTY_PREFIXES_DATAREADER, PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER,
     PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER},
};

const PROPERTYPluginProperty *pluginRow(const std::string &kind) {
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
        if (kind == row.name) return &row;
    return nullptr;
}

/* First-match classification of a loaded plug-in, by name or by exact create function. */
std::string classify(const std::string &comparePrefix, const std::string &createFunction = "") {
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
        if (iContains(comparePrefix, row.prefix) || (!createFunction.empty() && createFunction == row.createFunction))
            return row.name;
    return "";
}

/* The kinds of the rows that expand an entry of `kind`. */
std::set<std::string> rowsMatching(const std::string &kind) {
    std::set<std::string> out;
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
        if (iContains(kind, row.name)) out.insert(row.name);
    return out;
}

/* The suffixes that saving replaces with "[redacted]". */
const char *const kConfidentialSuffixes[] = {
    ".cryptography.key",    ".key_material_key", ".password",        ".private_key",
    ".private_key_file",    ".private_key_password", ".rsa_private_key", ".rsa_private_key_file",
    ".rtps_psk_secret_passphrase",
};

bool confidential(const std::string &name) {
    for (const char *suffix : kConfidentialSuffixes)
        if (endsWith(name, suffix)) return true;
    return false;
}

} // namespace

TEST(EntityTables, ClosedWithoutDuplicatesAndUnderTheirKindsPrefixes) {
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.label);
        const Names prefixes = namesOf(kind.prefixes, "prefixes");
        const Names open = namesOf(kind.open, "public");
        const Names secret = namesOf(kind.secret, "private");
        ASSERT_FALSE(prefixes.empty());
        EXPECT_FALSE(open.empty());
        for (const Names *table : {&prefixes, &open, &secret})
            EXPECT_EQ(std::set<std::string>(table->begin(), table->end()).size(), table->size()) << "duplicate entry";
        for (const std::string &prefix : prefixes) EXPECT_TRUE(endsWith(prefix, ".")) << prefix;
        for (const Names *table : {&open, &secret})
            for (const std::string &name : *table) {
                EXPECT_FALSE(contains(table == &open ? secret : open, name)) << name << " is public and private";
                EXPECT_TRUE(std::any_of(prefixes.begin(), prefixes.end(),
                                        [&](const std::string &p) { return startsWith(name, p); }))
                    << name << " lies under no checked prefix";
            }
    }
}

TEST(EntityTables, SecretsAreExactlyTheNamesRedactedOnSave) {
    /* A secret must not be written out in clear, and a name that is redacted must not be
     * offered as a suggestion either. */
    for (const Kind &kind : kKinds) {
        for (const std::string &name : namesOf(kind.secret, "private")) EXPECT_TRUE(confidential(name)) << name;
        for (const std::string &name : namesOf(kind.open, "public")) EXPECT_FALSE(confidential(name)) << name;
    }
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        for (int i = 0; i < row.privatePropertiesSize; ++i)
            EXPECT_TRUE(confidential(std::string(row.prefix) + "." + row.privateProperties[i]))
                << row.name << ": " << row.privateProperties[i];
        for (int i = 0; i < row.publicPropertiesSize; ++i)
            EXPECT_FALSE(confidential(std::string(row.prefix) + "." + row.publicProperties[i]))
                << row.name << ": " << row.publicProperties[i];
    }
}

TEST(PluginTable, EachKindExpandsThroughExactlyTheIntendedRows) {
    using Rows = std::set<std::string>;
    /* The kinds the prefix map writes itself... */
    EXPECT_EQ(rowsMatching("UDPV4"), (Rows{"UDPV4"}));
    EXPECT_EQ(rowsMatching("UDPV4_WAN"), (Rows{"UDPV4", "UDPV4_WAN"}));
    EXPECT_EQ(rowsMatching("SHMEM"), (Rows{"SHMEM"}));
    EXPECT_EQ(rowsMatching("UDPV6"), (Rows{"UDPV6"}));
    EXPECT_EQ(rowsMatching("WRITER_HISTORY"), (Rows{"WRITER_HISTORY"}));
    EXPECT_EQ(rowsMatching("FLOW_CONTROLLER"), (Rows{"FLOW_CONTROLLER"}));
    /* ...and the kinds that classification writes: every row name. Only the two extending
     * transports take a second row. */
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        const std::string kind = row.name;
        Rows expected{kind};
        if (kind == "UDPV4_WAN") expected.insert("UDPV4");
        if (kind == "TCPV4_TLS") expected.insert("TCPV4");
        EXPECT_EQ(rowsMatching(kind), expected) << kind;
    }
}

TEST(PluginTable, LoadedPluginsClassifyToTheirRow) {
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        EXPECT_EQ(classify(std::string(row.prefix) + ".instance1"), row.name);
        EXPECT_EQ(classify("my_plugin", row.createFunction), row.name);
    }
    EXPECT_EQ(classify("DDS.Transport.udpv4_wan.edge"), "UDPV4_WAN");  /* letter case ignored */
    EXPECT_EQ(classify("dds.transport.TCPv4_TLS.secure"), "TCPV4_TLS");
    EXPECT_EQ(classify("dds.transport." + std::string("TCPv4.tunnel")), "TCPV4"); /* relay sub-transport */
    EXPECT_EQ(classify("my_plugin", "zyntransporttcpv4_create"), "");         /* create function: exact */
    EXPECT_EQ(classify("dds.transport.sctp.x"), "");
    /* The relay names its sub-transport, so it must accept that setting. */
    const PROPERTYPluginProperty *relay = pluginRow("RELAY");
    ASSERT_NE(relay, nullptr);
    EXPECT_TRUE(contains(Names(relay->publicProperties, relay->publicProperties + relay->publicPropertiesSize),
                         "subtransport"));
}

TEST(PluginTable, SecurityRowsAgreeWithTheParticipantTables) {
    /* Security is usually switched on without loading a plug-in, so its settings under the
     * default prefixes must be valid participant names on their own. */
    const Names open = namesOf(PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT, "public");
    const Names secret = namesOf(PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT, "private");
    for (const char *kind : {"AUTHENTICATION", "ACCESS_CONTROL", "CRYPTOGRAPHY"}) {
        const PROPERTYPluginProperty *row = pluginRow(kind);
        ASSERT_NE(row, nullptr) << kind;
        for (int i = 0; i < row->publicPropertiesSize; ++i)
            EXPECT_TRUE(contains(open, std::string(row->prefix) + "." + row->publicProperties[i]))
                << kind << ": " << row->publicProperties[i];
        for (int i = 0; i < row->privatePropertiesSize; ++i)
            EXPECT_TRUE(contains(secret, std::string(row->prefix) + "." + row->privateProperties[i]))
                << kind << ": " << row->privateProperties[i];
    }
}

TEST(MutabilityTables, NoPluginNamesAreKnownToTheEntityTables) {
    const Names loadPlugins(PROPERTY_LOAD_PLUGINS_ARRAY, PROPERTY_LOAD_PLUGINS_ARRAY + PROPERTY_LOAD_PLUGINS_ARRAY_COUNT);
    EXPECT_EQ(loadPlugins, (Names{"dds.transport.load_plugins", "dds.discovery.endpoint.load_plugins",
                                  "dds.discovery.participant.load_plugins", "com.zyn.serv.load_plugin"}));
    const Names participant = namesOf(PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT, "public");
    for (const std::string &name : loadPlugins) EXPECT_TRUE(contains(participant, name)) << name;

    Names known(loadPlugins);
    for (const Kind &kind : kKinds)
        for (const char *const *table : {kind.open, kind.secret}) {
            const Names names = namesOf(table, kind.label);
            known.insert(known.end(), names.begin(), names.end());
        }
    for (const PROPERTYValueAttributes &entry : PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES)
        EXPECT_TRUE(contains(known, entry.propertyName)) << entry.propertyName;
}

TEST(MutabilityTables, PluginRowsAgreeWithThePluginTable) {
    for (const PROPERTYPluginValueAttributes &mut : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        SCOPED_TRACE(mut.prefix);
        const PROPERTYPluginProperty *row = pluginRow(mut.name);
        ASSERT_NE(row, nullptr) << "no plug-in row of kind " << mut.name;
        EXPECT_STREQ(mut.createFunction, row->createFunction);
        /* The instance this row describes is classified as the same kind by its name. */
        EXPECT_EQ(classify(mut.prefix), mut.name);
        /* Every name with a mutability is also a name the instance accepts. */
        Names suffixes(row->publicProperties, row->publicProperties + row->publicPropertiesSize);
        suffixes.insert(suffixes.end(), row->privateProperties, row->privateProperties + row->privatePropertiesSize);
        for (DDS_Long i = 0; i < mut.propertiesSize; ++i)
            EXPECT_TRUE(contains(suffixes, mut.properties[i].propertyName)) << mut.properties[i].propertyName;
    }
}
