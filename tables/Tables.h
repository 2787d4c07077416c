/* The constant tables: what the middleware knows of its plug-ins and properties. */
#ifndef PROPQOS_TABLES_TABLES_H
#define PROPQOS_TABLES_TABLES_H

#include <propqos/Types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One known plug-in kind, for name validation. */
typedef struct PROPERTYPluginProperty {
    const char *name;                       /* the plug-in kind */
    const char *prefix;                     /* default prefix of an instance's properties */
    const char *createFunction;             /* name of the kind's create function */
    const char *const *privateProperties;   /* private property suffixes */
    int privatePropertiesSize;
    const char *const *publicProperties;    /* public property suffixes */
    int publicPropertiesSize;
} PROPERTYPluginProperty;

#define PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT 13
extern const PROPERTYPluginProperty
    PROPERTY_VALID_PLUGIN_PROPERTIES[PROPERTY_VALID_PLUGIN_PROPERTIES_COUNT];

/* Name tables, each closed by an entry that points to "". */
extern const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DOMAINPARTICIPANT[];
extern const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DOMAINPARTICIPANT[];
extern const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DOMAINPARTICIPANT[];
extern const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DATAWRITER[];
extern const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DATAWRITER[];
extern const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DATAWRITER[];
extern const char *const PROPERTY_VALID_PROPERTY_PREFIXES_DATAREADER[];
extern const char *const PROPERTY_VALID_PUBLIC_PROPERTIES_DATAREADER[];
extern const char *const PROPERTY_VALID_PRIVATE_PROPERTIES_DATAREADER[];

typedef enum PROPERTYValueMutability {
    PROPERTY_VALUE_MUTABILITY_MUTABLE = 0,
    PROPERTY_VALUE_MUTABILITY_MUTABLE_UNTIL_ENABLE = 1,
    PROPERTY_VALUE_MUTABILITY_IMMUTABLE = 2
} PROPERTYValueMutability;

typedef struct PROPERTYValueAttributes {
    const char *propertyName;
    PROPERTYValueMutability mutability;
} PROPERTYValueAttributes;

typedef struct PROPERTYPluginValueAttributes {
    const char *prefix;                          /* without the trailing "." */
    const char *name;
    const char *createFunction;
    const PROPERTYValueAttributes *properties;   /* sorted by propertyName, relative names */
    DDS_Long propertiesSize;
} PROPERTYPluginValueAttributes;

#define PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT 3
#define PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT 56
#define PROPERTY_LOAD_PLUGINS_ARRAY_COUNT 4
/* Sorted by prefix; no prefix is a leading part of another. */
extern const PROPERTYPluginValueAttributes
    PROPERTY_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_PLUGIN_VALUE_ATTRIBUTES_COUNT];
/* Sorted by propertyName; full names. */
extern const PROPERTYValueAttributes
    PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES[PROPERTY_NO_PLUGIN_VALUE_ATTRIBUTES_COUNT];
extern const char *const PROPERTY_LOAD_PLUGINS_ARRAY[PROPERTY_LOAD_PLUGINS_ARRAY_COUNT];

#ifdef __cplusplus
}
#endif

#endif
