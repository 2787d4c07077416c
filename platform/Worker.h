/* The worker record that carries a thread's logging activity context. */
#ifndef PROPQOS_PLATFORM_WORKER_H
#define PROPQOS_PLATFORM_WORKER_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VorlActivityContext {
    unsigned int categoryMask;   /* categories this activity logs */
} VorlActivityContext;

typedef struct VorlWorker {
    const char *name;
    VorlActivityContext *_activityContext;   /* null when no activity is set */
} VorlWorker;

#ifdef __cplusplus
}
#endif

#endif
