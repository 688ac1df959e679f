// The Sentry native SDK as far as the service calls it. Where the SDK is installed its own header
// is used; elsewhere these declarations stand for it and `sentry.dll` is bound by name.
#pragma once

#ifdef CAPTURE_SERVICE_HAS_SENTRY_SDK
#include <sentry.h>
#else

#include <cstddef>
#include <cstdint>

extern "C" {

union sentry_value_t {
  std::uint64_t _bits;
  double _double;
};

struct sentry_uuid_t {
  char bytes[16];
};

struct sentry_options_t;

sentry_options_t* sentry_options_new();
void sentry_options_set_dsn(sentry_options_t* options, const char* dsn);
void sentry_options_set_environment(sentry_options_t* options, const char* environment);
void sentry_options_set_max_breadcrumbs(sentry_options_t* options, std::size_t count);
void sentry_options_set_handler_pathw(sentry_options_t* options, const wchar_t* path);
void sentry_options_set_sample_rate(sentry_options_t* options, double rate);
void sentry_options_set_database_pathw(sentry_options_t* options, const wchar_t* path);
int sentry_init(sentry_options_t* options);  // takes ownership; 0 is success
int sentry_shutdown();
void sentry_set_user(sentry_value_t user);  // takes ownership
void sentry_set_tag(const char* name, const char* value);
sentry_value_t sentry_value_new_object();
sentry_value_t sentry_value_new_string(const char* text);
int sentry_value_set_by_key(sentry_value_t object, const char* key,
                            sentry_value_t member);  // takes ownership of member
sentry_value_t sentry_value_new_breadcrumb(const char* type, const char* message);
void sentry_add_breadcrumb(sentry_value_t breadcrumb);  // takes ownership
sentry_value_t sentry_value_new_event();
void sentry_event_value_add_stacktrace(sentry_value_t event, void** addresses, std::size_t count);
sentry_uuid_t sentry_capture_event(sentry_value_t event);  // takes ownership

}  // extern "C"

#endif
