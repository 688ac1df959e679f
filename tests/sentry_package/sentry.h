// A stand-in for the header of the installed error-reporting SDK: C declarations of the functions
// that the service calls, imported from the DLL, with those marked as deprecated that later SDKs
// mark.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SENTRY_API __declspec(dllimport)
#ifdef _MSC_VER
#define SENTRY_DEPRECATED(hint) __declspec(deprecated(hint))
#else
#define SENTRY_DEPRECATED(hint) __attribute__((deprecated(hint)))
#endif

typedef union sentry_value_u {
  uint64_t _bits;
  double _double;
} sentry_value_t;

typedef struct sentry_uuid_s {
  char bytes[16];
} sentry_uuid_t;

typedef struct sentry_options_s sentry_options_t;

SENTRY_API sentry_options_t* sentry_options_new(void);
SENTRY_API void sentry_options_set_dsn(sentry_options_t* options, const char* dsn);
SENTRY_API void sentry_options_set_environment(sentry_options_t* options, const char* environment);
SENTRY_API void sentry_options_set_max_breadcrumbs(sentry_options_t* options, size_t count);
SENTRY_API void sentry_options_set_handler_pathw(sentry_options_t* options, const wchar_t* path);
SENTRY_API void sentry_options_set_sample_rate(sentry_options_t* options, double rate);
SENTRY_API void sentry_options_set_database_pathw(sentry_options_t* options, const wchar_t* path);
SENTRY_API int sentry_init(sentry_options_t* options);
SENTRY_DEPRECATED("Ends under another name") SENTRY_API int sentry_shutdown(void);
SENTRY_API void sentry_set_user(sentry_value_t user);
SENTRY_API void sentry_set_tag(const char* name, const char* value);
SENTRY_API sentry_value_t sentry_value_new_object(void);
SENTRY_API sentry_value_t sentry_value_new_string(const char* text);
SENTRY_API int sentry_value_set_by_key(sentry_value_t object, const char* key,
                                       sentry_value_t member);
SENTRY_API sentry_value_t sentry_value_new_breadcrumb(const char* type, const char* message);
SENTRY_API void sentry_add_breadcrumb(sentry_value_t breadcrumb);
SENTRY_API sentry_value_t sentry_value_new_event(void);
SENTRY_DEPRECATED("Add the stack trace to a thread or an exception")
SENTRY_API void sentry_event_value_add_stacktrace(sentry_value_t event, void** addresses,
                                                  size_t count);
SENTRY_API sentry_uuid_t sentry_capture_event(sentry_value_t event);

#ifdef __cplusplus
}
#endif
