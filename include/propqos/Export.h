/* Symbol export for the installed headers. The library is built with hidden visibility, so that
 * a shared build exports exactly what these headers declare. */
#ifndef PROPQOS_EXPORT_H
#define PROPQOS_EXPORT_H

#if defined(__GNUC__)
#  define PROPQOS_API __attribute__((visibility("default")))
#  define PROPQOS_VISIBILITY_PUSH_ _Pragma("GCC visibility push(default)")
#  define PROPQOS_VISIBILITY_POP_ _Pragma("GCC visibility pop")
#else
#  define PROPQOS_API
#  define PROPQOS_VISIBILITY_PUSH_
#  define PROPQOS_VISIBILITY_POP_
#endif

/* Opens and closes a block of exported C declarations. */
#ifdef __cplusplus
#  define PROPQOS_BEGIN_DECLS PROPQOS_VISIBILITY_PUSH_ extern "C" {
#  define PROPQOS_END_DECLS } PROPQOS_VISIBILITY_POP_
#else
#  define PROPQOS_BEGIN_DECLS PROPQOS_VISIBILITY_PUSH_
#  define PROPQOS_END_DECLS PROPQOS_VISIBILITY_POP_
#endif

#endif
