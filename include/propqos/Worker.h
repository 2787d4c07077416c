/* The worker record that carries a thread's logging activity context. */
#ifndef PROPQOS_WORKER_H
#define PROPQOS_WORKER_H

#include "Export.h"

PROPQOS_BEGIN_DECLS

typedef struct VorlActivityContext {
    unsigned int categoryMask;   /* categories this activity logs */
} VorlActivityContext;

typedef struct VorlWorker {
    const char *name;
    VorlActivityContext *_activityContext;   /* null when no activity is set */
} VorlWorker;

PROPQOS_END_DECLS

#endif
