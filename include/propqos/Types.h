/* Scalar types, result codes and entity kinds shared by every layer. */
#ifndef PROPQOS_TYPES_H
#define PROPQOS_TYPES_H

#include "Export.h"

#include <stddef.h>
#include <stdint.h>

PROPQOS_BEGIN_DECLS

typedef int32_t DDS_Long;
typedef uint32_t DDS_UnsignedLong;
typedef int64_t DDS_LongLong;
typedef unsigned char DDS_Boolean;
typedef char DDS_Char;

#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0)

typedef DDS_Long DDS_ReturnCode_t;
#define DDS_RETCODE_OK 0
#define DDS_RETCODE_ERROR 1
#define DDS_RETCODE_UNSUPPORTED 2
#define DDS_RETCODE_BAD_PARAMETER 3
#define DDS_RETCODE_PRECONDITION_NOT_MET 4
#define DDS_RETCODE_OUT_OF_RESOURCES 5
#define DDS_RETCODE_NOT_ENABLED 6
#define DDS_RETCODE_IMMUTABLE_POLICY 7
#define DDS_RETCODE_INCONSISTENT_POLICY 8
#define DDS_RETCODE_ALREADY_DELETED 9
#define DDS_RETCODE_TIMEOUT 10
#define DDS_RETCODE_NO_DATA 11
#define DDS_RETCODE_ILLEGAL_OPERATION 12
#define DDS_RETCODE_NOT_ALLOWED_BY_SECURITY 1000

typedef enum DDS_EntityKind_t {
    DDS_UNKNOWN_ENTITY_KIND = 0,
    DDS_PARTICIPANT_ENTITY_KIND = 1,
    DDS_PUBLISHER_ENTITY_KIND = 2,
    DDS_SUBSCRIBER_ENTITY_KIND = 3,
    DDS_TOPIC_ENTITY_KIND = 4,
    DDS_DATAREADER_ENTITY_KIND = 5,
    DDS_DATAWRITER_ENTITY_KIND = 6
} DDS_EntityKind_t;

PROPQOS_END_DECLS

#endif
