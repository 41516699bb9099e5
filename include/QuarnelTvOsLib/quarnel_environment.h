// The C face of HostEnvironment and of the platform ad client: what the host application hands in,
// once, before it asks for the shared tracker. See quarnel.h for texts, JSON, errors and threads.
#pragma once

#include <QuarnelTvOsLib/quarnel_types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Facts and services that only the host application knows. Every setter is optional; what is not
// set, or is set to NULL where NULL is allowed, has the default that its setter names. Not
// thread-safe: fill one in, hand it to quarnel_configure_shared_tracker and free it. Functions
// handed in must stay callable until the process ends, and may be called from any thread of the
// library.
typedef struct quarnel_environment quarnel_environment;

// A new environment; NULL only when memory is short. Free it with quarnel_environment_free.
QUARNEL_EXPORT quarnel_environment* quarnel_environment_create(void);
// Allowed any time after it was handed in. NULL is allowed.
QUARNEL_EXPORT void quarnel_environment_free(quarnel_environment* environment);

// The six services that the library talks to.
enum {
  QUARNEL_ENDPOINT_LAUNCH = 0,
  QUARNEL_ENDPOINT_EVENTS = 1,
  QUARNEL_ENDPOINT_STATS = 2,
  QUARNEL_ENDPOINT_CONVERSION = 3,
  QUARNEL_ENDPOINT_SERVICES = 4,
  QUARNEL_ENDPOINT_REGISTER = 5
};

// Where a service lives: a host name, and ":port" behind it if it is not 443. The endpoint is one
// of QUARNEL_ENDPOINT_...; the host must not be NULL. Default: set at build time.
QUARNEL_EXPORT quarnel_status quarnel_environment_set_endpoint_host(
    quarnel_environment* environment, int32_t endpoint, const char* host);

// The folder for all that the library persists: `Library`, `Caches` and `tmp` are made in it. Must
// not be NULL. Default: the XDG base directories, each in a folder named by the bundle identifier.
QUARNEL_EXPORT quarnel_status
quarnel_environment_set_state_directory(quarnel_environment* environment, const char* path);

// The file that holds what outlives removal of the application. Must not be NULL. Default:
// $XDG_DATA_HOME/quarnel/keychain.db.
QUARNEL_EXPORT quarnel_status
quarnel_environment_set_keychain_file(quarnel_environment* environment, const char* path);

// A PEM file of certificate authorities to trust instead of the system's. Must not be NULL.
QUARNEL_EXPORT quarnel_status quarnel_environment_set_certificate_authority_file(
    quarnel_environment* environment, const char* path);

// Whether requests go through the proxy that the environment names: `https_proxy`, `HTTPS_PROXY`,
// `all_proxy`, `ALL_PROXY`, with exceptions in `no_proxy`. TLS is with the server all the same, so
// the proxy learns host names only. Default: true.
QUARNEL_EXPORT quarnel_status
quarnel_environment_set_uses_proxy_variables(quarnel_environment* environment, bool uses);

// The store receipt of this installation. Must not be NULL. Default: none.
QUARNEL_EXPORT quarnel_status quarnel_environment_set_receipt_file(quarnel_environment* environment,
                                                                   const char* path);

// The application's identifier, such as "com.example.cinema". Must not be NULL. Default: none.
QUARNEL_EXPORT quarnel_status
quarnel_environment_set_bundle_identifier(quarnel_environment* environment, const char* identifier);

// The application's own facts, each NULL when it has none. Default: none of them.
QUARNEL_EXPORT quarnel_status quarnel_environment_set_bundle(quarnel_environment* environment,
                                                             const char* version,
                                                             const char* display_name,
                                                             const char* short_version);

// Replaces a device fact by the name of its report field ("systemversion", "name", ...; NULL: the
// device does not tell). "multitasking" and "wifi" take "true" or "false". QUARNEL_INVALID_ARGUMENT
// when there is no such fact or it does not take this value.
QUARNEL_EXPORT quarnel_status quarnel_environment_set_device_fact(quarnel_environment* environment,
                                                                  const char* field,
                                                                  const char* value);

// Declares that a class of the embedding engine exists in this process ("UnityAppController").
// Must not be NULL.
QUARNEL_EXPORT quarnel_status quarnel_environment_add_known_class(quarnel_environment* environment,
                                                                  const char* name);

// A piece of work that belongs on the application's main loop.
typedef struct quarnel_task quarnel_task;

// Runs the task and frees it: call it exactly once, on the main loop. NULL is allowed.
QUARNEL_EXPORT void quarnel_task_run(quarnel_task* task);

// Hands tasks to the application's main loop, which runs them in the order of the calls with
// quarnel_task_run; never before this function returns. NULL (the default): a thread of the library
// serves as main queue.
typedef void (*quarnel_main_executor)(quarnel_task* task, void* user);
QUARNEL_EXPORT quarnel_status quarnel_environment_set_main_executor(
    quarnel_environment* environment, quarnel_main_executor executor, void* user);

// Takes log lines instead of standard error (NULL, the default). A line has no line break at its
// end and is valid until the function returns. Called on any thread; must not call the tracker.
typedef void (*quarnel_log_sink)(const char* line, void* user);
QUARNEL_EXPORT quarnel_status quarnel_environment_set_log_sink(quarnel_environment* environment,
                                                               quarnel_log_sink sink, void* user);

// Where an advertising identifier provider leaves its answer, valid until the provider returns.
typedef struct quarnel_advertising_identity quarnel_advertising_identity;

// The device's advertising identifier, a UUID in upper case, and whether the user allows tracking
// by it. A NULL identifier means that there is none.
QUARNEL_EXPORT quarnel_status quarnel_advertising_identity_set(
    quarnel_advertising_identity* identity, const char* identifier, bool tracking_enabled);

// Asked for each report. A provider that sets nothing says that the device has no advertising
// identifier, and so does having none (NULL, the default).
typedef void (*quarnel_advertising_identifier_provider)(quarnel_advertising_identity* identity,
                                                        void* user);
QUARNEL_EXPORT quarnel_status quarnel_environment_set_advertising_identifier_provider(
    quarnel_environment* environment, quarnel_advertising_identifier_provider provider, void* user);

// Whether the user has a cloud identity on this device. NULL (the default): no.
typedef bool (*quarnel_cloud_identity_provider)(void* user);
QUARNEL_EXPORT quarnel_status quarnel_environment_set_cloud_identity_provider(
    quarnel_environment* environment, quarnel_cloud_identity_provider provider, void* user);

// --- Platform ad client ------------------------------------------------------------------------

// Answers whether this installation came from an ad. An operation that is not set is one that the
// client does not respond to.
typedef struct quarnel_ad_client quarnel_ad_client;

// A question to the ad client. It belongs to the client, which answers with the function told at
// the operation, on any thread, at once or late; an answer given twice is processed twice. Whoever
// answers frees it after the last answer, or when none will come.
typedef struct quarnel_ad_question quarnel_ad_question;
typedef void (*quarnel_ad_operation)(quarnel_ad_question* question, void* user);

// A new client without operations; NULL only when memory is short. Set its operations before it is
// provided for the first time.
QUARNEL_EXPORT quarnel_ad_client* quarnel_ad_client_create(void);
// Once it is not provided any more. Questions that are still open stay valid. NULL is allowed.
QUARNEL_EXPORT void quarnel_ad_client_free(quarnel_ad_client* client);

// Answered with quarnel_ad_question_answer_details. NULL takes the operation away.
QUARNEL_EXPORT quarnel_status quarnel_ad_client_set_request_attribution_details(
    quarnel_ad_client* client, quarnel_ad_operation operation, void* user);
// Answered with quarnel_ad_question_answer_dates. NULL takes the operation away.
QUARNEL_EXPORT quarnel_status quarnel_ad_client_set_lookup_ad_conversion_details(
    quarnel_ad_client* client, quarnel_ad_operation operation, void* user);
// Answered with quarnel_ad_question_answer_attributed. NULL takes the operation away.
QUARNEL_EXPORT quarnel_status quarnel_ad_client_set_determine_app_installation_attribution(
    quarnel_ad_client* client, quarnel_ad_operation operation, void* user);

// The attribution details, a JSON object or NULL, and in place of them the description of what went
// wrong or NULL. QUARNEL_INVALID_ARGUMENT for a question of another operation.
QUARNEL_EXPORT quarnel_status quarnel_ad_question_answer_details(quarnel_ad_question* question,
                                                                 const char* details,
                                                                 const char* error);
// The moments of purchase and ad impression, in seconds since 1970, NULL for absent ones; within
// 285,000 years of 1970. QUARNEL_INVALID_ARGUMENT for others and for a question of another
// operation.
QUARNEL_EXPORT quarnel_status quarnel_ad_question_answer_dates(quarnel_ad_question* question,
                                                               const double* purchase_date,
                                                               const double* impression_date);
// Whether an ad led to this installation. QUARNEL_INVALID_ARGUMENT for a question of another
// operation.
QUARNEL_EXPORT quarnel_status quarnel_ad_question_answer_attributed(quarnel_ad_question* question,
                                                                    bool attributed);
// NULL is allowed.
QUARNEL_EXPORT void quarnel_ad_question_free(quarnel_ad_question* question);

// Asked at each launch, on the thread that reports it; a returned NULL means that there is no ad
// client. The client returned stays the application's, which keeps it as long as it may be
// returned. NULL (the default): none.
typedef quarnel_ad_client* (*quarnel_ad_client_provider)(void* user);
QUARNEL_EXPORT quarnel_status quarnel_environment_set_ad_client_provider(
    quarnel_environment* environment, quarnel_ad_client_provider provider, void* user);

#ifdef __cplusplus
}
#endif
