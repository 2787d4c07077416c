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

/* The entries of a name table before its closing "": none may be null, and the "" must come. */
Names namesOf(const char *const *table, const char *what) {
    Names out;
    for (int i = 0; i < 4096; ++i) {
        if (table[i] == nullptr || table[i][0] == '\0') {
            EXPECT_NE(table[i], nullptr) << what << ": null entry at " << i;
            return out;
        }
        out.emplace_back(table[i]);
    }
    ADD_FAILURE() << what << ": no closing \"\"";
    return out;
}
Names namesOf(const char *const *array, int count) { return Names(array, array + count); }

bool contains(const Names &names, const std::string &name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}
bool endsWith(const std::string &s, const std::string &tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}
/* The matcher's rule: `needle` occurs in `haystack`, letter case ignored. */
bool iContains(std::string haystack, std::string needle) {
    for (std::string *s : {&haystack, &needle})
        std::transform(s->begin(), s->end(), s->begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return haystack.find(needle) != std::string::npos;
}

struct Kind {
    const char *label;
    const char *const *prefixes, *const *open, *const *secret;
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
/* A row's public or private suffixes, put under its prefix. */
Names rowNames(const PROPERTYPluginProperty &row, bool secret) {
    Names out;
    for (int i = 0; i < (secret ? row.privatePropertiesSize : row.publicPropertiesSize); ++i)
        out.push_back(std::string(row.prefix) + "." + (secret ? row.privateProperties : row.publicProperties)[i]);
    return out;
}

/* First-match classification of a loaded plug-in, by name or by exact create function. */
std::string classify(const std::string &comparePrefix, const std::string &createFunction = "") {
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
        if (iContains(comparePrefix, row.prefix) || (!createFunction.empty() && createFunction == row.createFunction))
            return row.name;
    return "";
}

/* The names that saving replaces with "[redacted]". */
bool confidential(const std::string &name) {
    for (const char *suffix : {".cryptography.key", ".key_material_key", ".password", ".private_key", ".private_key_file",
                               ".private_key_password", ".rsa_private_key", ".rsa_private_key_file",
                               ".rtps_psk_secret_passphrase"})
        if (endsWith(name, suffix)) return true;
    return false;
}

} // namespace

TEST(EntityTables, ClosedUniqueUnderTheirKindsPrefixesAndSecretExactlyWhenRedacted) {
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.label);
        const Names prefixes = namesOf(kind.prefixes, "prefixes");
        const Names open = namesOf(kind.open, "public"), secret = namesOf(kind.secret, "private");
        ASSERT_FALSE(prefixes.empty() || open.empty());
        for (const Names *table : {&prefixes, &open, &secret})
            EXPECT_EQ(std::set<std::string>(table->begin(), table->end()).size(), table->size()) << "duplicate entry";
        for (const std::string &prefix : prefixes) EXPECT_TRUE(endsWith(prefix, ".")) << prefix;
        for (const Names *table : {&open, &secret})
            for (const std::string &name : *table) {
                /* A secret must not be written out in clear, nor a redacted name offered as a suggestion. */
                EXPECT_EQ(confidential(name), table == &secret) << name;
                EXPECT_FALSE(contains(table == &open ? secret : open, name)) << name << " is public and private";
                EXPECT_TRUE(std::any_of(prefixes.begin(), prefixes.end(),
                                        [&](const std::string &p) { return name.compare(0, p.size(), p) == 0; }))
                    << name << " lies under no checked prefix";
            }
    }
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
        for (bool secret : {false, true})
            for (const std::string &name : rowNames(row, secret))
                EXPECT_EQ(confidential(name), secret) << row.name << ": " << name;
}

TEST(PluginTable, EachKindExpandsThroughExactlyTheIntendedRows) {
    /* The kinds the prefix map writes itself, and every row name that classification writes: only the two
     * extending transports take a second row. */
    Names kinds = {"UDPV4", "SHMEM", "UDPV6", "WRITER_HISTORY", "FLOW_CONTROLLER"};
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) kinds.push_back(row.name);
    for (const std::string &kind : kinds) {
        std::set<std::string> matching, expected{kind};
        for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES)
            if (iContains(kind, row.name)) matching.insert(row.name);
        if (kind == "UDPV4_WAN" || kind == "TCPV4_TLS") expected.insert(kind.substr(0, 5));
        EXPECT_EQ(matching, expected) << kind;
    }
}

TEST(PluginTable, LoadedPluginsClassifyToTheirRow) {
    for (const PROPERTYPluginProperty &row : PROPERTY_VALID_PLUGIN_PROPERTIES) {
        EXPECT_EQ(classify(std::string(row.prefix) + ".instance1"), row.name);
        EXPECT_EQ(classify("my_plugin", row.createFunction), row.name);
    }
    EXPECT_EQ(classify("DDS.Transport.udpv4_wan.edge"), "UDPV4_WAN"); /* letter case ignored */
    EXPECT_EQ(classify("dds.transport.TCPv4_TLS.secure"), "TCPV4_TLS");
    EXPECT_EQ(classify("dds.transport.TCPv4.tunnel"), "TCPV4");               /* relay sub-transport */
    EXPECT_EQ(classify("my_plugin", "zyntransporttcpv4_create"), "");         /* create function: exact */
    EXPECT_EQ(classify("dds.transport.sctp.x"), "");
    /* The relay names its sub-transport, so it must accept that setting. */
    const PROPERTYPluginProperty *relay = pluginRow("RELAY");
    ASSERT_NE(relay, nullptr);
    EXPECT_TRUE(contains(namesOf(relay->publicProperties, relay->publicPropertiesSize), "subtransport"));
}

TEST(PluginTable, SecurityRowsAgreeWithTheParticipantTables) {
    /* Security is usually switched on without loading a plug-in, so its settings under the default prefixes
     * must be valid participant names on their own. */
    const Names open = namesOf(PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT, "public");
    const Names secret = namesOf(PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT, "private");
    for (const char *kind : {"AUTHENTICATION", "ACCESS_CONTROL", "CRYPTOGRAPHY"}) {
        const PROPERTYPluginProperty *row = pluginRow(kind);
        ASSERT_NE(row, nullptr) << kind;
        for (bool isSecret : {false, true})
            for (const std::string &name : rowNames(*row, isSecret))
                EXPECT_TRUE(contains(isSecret ? secret : open, name)) << kind << ": " << name;
    }
}

TEST(MutabilityTables, AgreeWithTheEntityAndPluginTables) {
    const Names loadPlugins = namesOf(PROPERTY_LOAD_PLUGINS_ARRAY, PROPERTY_LOAD_PLUGINS_ARRAY_COUNT);
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

    for (const PROPERTYPluginValueAttributes &mut : PROPERTY_PLUGIN_VALUE_ATTRIBUTES) {
        SCOPED_TRACE(mut.prefix);
        const PROPERTYPluginProperty *row = pluginRow(mut.name);
        ASSERT_NE(row, nullptr) << "no plug-in row of kind " << mut.name;
        EXPECT_STREQ(mut.createFunction, row->createFunction);
        /* The instance the row describes classifies as its kind, and accepts every name with a mutability. */
        EXPECT_EQ(classify(mut.prefix), mut.name);
        Names suffixes = namesOf(row->publicProperties, row->publicPropertiesSize);
        const Names privateSuffixes = namesOf(row->privateProperties, row->privatePropertiesSize);
        suffixes.insert(suffixes.end(), privateSuffixes.begin(), privateSuffixes.end());
        for (DDS_Long i = 0; i < mut.propertiesSize; ++i)
            EXPECT_TRUE(contains(suffixes, mut.properties[i].propertyName)) << mut.properties[i].propertyName;
    }
}
