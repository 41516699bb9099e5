// The library for C, and for every language that can call C. What the C++ face does, in operations
// of the same names in snake case.
//
//   quarnel_tracker* tracker = quarnel_shared_tracker();
//   quarnel_tracker_set_quarnel_dev_key(tracker, "my-developer-key");
//   quarnel_tracker_set_apple_app_id(tracker, "123456789");
//   quarnel_tracker_track_app_launch(tracker);
//   quarnel_tracker_track_event_with_values(tracker, "purchase", "{\"qn_revenue\": 9.99}");
//
// Texts end with a zero byte and are UTF-8; bytes that are not are replaced by U+FFFD. NULL is an
// absent value where an operation says so, and a failure with a reason elsewhere, never a crash.
// Texts that go in are copied. A text that comes out of an operation is the caller's, to be
// released with quarnel_string_free. What a callback receives belongs to the library and is valid
// until the callback returns.
//
// Arrays, dictionaries and numbers of any kind go in and come out as JSON text, nested at most 512
// levels deep. An object with exactly one of these entries stands for what JSON cannot say:
//
//   {"$date": 1457186820.5}   a date, in seconds since 1970
//   {"$data": "01abcdef"}     bytes, in hexadecimal digits
//   {"$double": "nan"}        a number that is not finite; also "inf" and "-inf"
//
// Failures: operations return a quarnel_status, and quarnel_last_error says why one was refused.
// QUARNEL_OK means that the library took the call, not that anything was delivered. No exception
// leaves the library.
//
// Threads: as in C++, every operation on a tracker may be called from any thread, at any time, also
// from inside a callback, and returns at once unless it says otherwise. Each callback says on which
// thread it is called; a callback must return soon, as what comes after it waits. The `user`
// pointer of a callback is handed back to it and never touched.
//
// A handle's content is nobody's business but the library's. Operations, status values and
// endpoints may be added; none changes or goes away within a major version.
#pragma once

#include <QuarnelTvOsLib/quarnel_environment.h>
#include <QuarnelTvOsLib/quarnel_types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Reports launches and in-app events, and answers questions about the installation.
typedef struct quarnel_tracker quarnel_tracker;

// Hands in what only the host application knows; copied. Call it before the first
// quarnel_shared_tracker(); later it changes nothing and returns QUARNEL_TOO_LATE.
QUARNEL_EXPORT quarnel_status
quarnel_configure_shared_tracker(const quarnel_environment* environment);

// The one tracker of this process, made on first use and never destroyed: not to be freed. It is
// the same as QuarnelTracker::sharedTracker(). Every operation below may be called before
// configuration; what is reported without a developer key is dropped. NULL when the process lacks
// the threads or the memory for it.
QUARNEL_EXPORT quarnel_tracker* quarnel_shared_tracker(void);

// --- Configuration -----------------------------------------------------------------------------
// May change at any time; a report uses the values at the moment at which it is built, shortly
// after the call. What a getter returns as text is to be released with quarnel_string_free.

// The developer key, issued by the service. NULL (the default): nothing is reported.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_quarnel_dev_key(quarnel_tracker* tracker,
                                                                  const char* key);
// The developer key, or NULL.
QUARNEL_EXPORT char* quarnel_tracker_quarnel_dev_key(const quarnel_tracker* tracker);

// The application's store identifier, digits only; anything else is logged and sent all the same.
// Default: NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_apple_app_id(quarnel_tracker* tracker,
                                                               const char* app_id);
// The store identifier, or NULL.
QUARNEL_EXPORT char* quarnel_tracker_apple_app_id(const quarnel_tracker* tracker);

// The application's own identifier of its user, sent with every report. Default: NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_customer_user_id(quarnel_tracker* tracker,
                                                                   const char* user_id);
// The user's identifier, or NULL.
QUARNEL_EXPORT char* quarnel_tracker_customer_user_id(const quarnel_tracker* tracker);

// Additional data, a JSON object, sent with every report. NULL is ignored. Data that holds dates,
// bytes or numbers that are not finite is logged and not sent.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_additional_data(quarnel_tracker* tracker,
                                                                  const char* custom_data);
// The additional data as a JSON object, or NULL.
QUARNEL_EXPORT char* quarnel_tracker_custom_data(const quarnel_tracker* tracker);

// How e-mail addresses leave the device. Any other value is treated as SHA-1.
enum { QUARNEL_EMAIL_CRYPT_NONE = 0, QUARNEL_EMAIL_CRYPT_SHA1 = 1, QUARNEL_EMAIL_CRYPT_MD5 = 2 };

// The user's e-mail addresses, a JSON array of texts, sent with every report in the form that the
// crypt type, one of QUARNEL_EMAIL_CRYPT_..., says. With QUARNEL_EMAIL_CRYPT_NONE only the last
// one is sent. A report is abandoned when the array holds elements but no text. NULL (the default):
// none.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_user_emails(quarnel_tracker* tracker,
                                                              const char* emails,
                                                              int32_t crypt_type);

// An ISO 4217 code of three letters; other lengths are logged and sent all the same. Default: NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_currency_code(quarnel_tracker* tracker,
                                                                const char* code);
// The currency code, or NULL.
QUARNEL_EXPORT char* quarnel_tracker_currency_code(const quarnel_tracker* tracker);

// Debug mode: every step is logged, personal data included. Default: false.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_is_debug(quarnel_tracker* tracker, bool is_debug);
// False for a NULL tracker, as with every getter of a flag.
QUARNEL_EXPORT bool quarnel_tracker_is_debug(const quarnel_tracker* tracker);

// Whether reports carry the device's name. Default: true.
QUARNEL_EXPORT quarnel_status
quarnel_tracker_set_should_collect_device_name(quarnel_tracker* tracker, bool collect);
// See the setter.
QUARNEL_EXPORT bool quarnel_tracker_should_collect_device_name(const quarnel_tracker* tracker);

// Whether reports leave out the advertising identifier. Default: false.
QUARNEL_EXPORT quarnel_status
quarnel_tracker_set_disable_apple_ad_support_tracking(quarnel_tracker* tracker, bool disable);
// See the setter.
QUARNEL_EXPORT bool quarnel_tracker_disable_apple_ad_support_tracking(
    const quarnel_tracker* tracker);

// Marks reports of users who do not want to be tracked. Default: false.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_device_tracking_disabled(quarnel_tracker* tracker,
                                                                           bool disabled);
// See the setter.
QUARNEL_EXPORT bool quarnel_tracker_device_tracking_disabled(const quarnel_tracker* tracker);

// Whether launches skip the question to the platform's ad client. Default: false.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_disable_iad_tracking(quarnel_tracker* tracker,
                                                                       bool disable);
// See the setter.
QUARNEL_EXPORT bool quarnel_tracker_disable_iad_tracking(const quarnel_tracker* tracker);

// Whether receipts are validated on the store's sandbox. Default: false.
QUARNEL_EXPORT quarnel_status
quarnel_tracker_set_use_receipt_validation_sandbox(quarnel_tracker* tracker, bool use_sandbox);
// See the setter.
QUARNEL_EXPORT bool quarnel_tracker_use_receipt_validation_sandbox(const quarnel_tracker* tracker);

// --- Delegate ----------------------------------------------------------------------------------

// What the tracker tells the application. An operation that is not set is one that the delegate
// does not respond to; some requests are made only for a delegate that responds. Set its operations
// before it is handed to a tracker; afterwards they return QUARNEL_TOO_LATE.
//
// A tracker that has the delegate and a call in progress hold references of their own, so the
// handle may be released right after it was handed in. A handle that is never released stays valid.
typedef struct quarnel_delegate quarnel_delegate;

// A dictionary for the application, as a JSON object.
typedef void (*quarnel_on_data)(const char* data, void* user);
// What the application asked for failed.
typedef void (*quarnel_on_failure)(const quarnel_error* error, void* user);

// A new delegate that responds to nothing; NULL only when memory is short.
QUARNEL_EXPORT quarnel_delegate* quarnel_delegate_create(void);

// Releases the handle. The delegate itself ends when no tracker has it and no call is in progress.
// NULL does nothing. Don't use the handle afterwards.
QUARNEL_EXPORT void quarnel_delegate_release(quarnel_delegate* delegate);

// Calls `destroy` with `user` once, when the delegate ends: after the last call, on the thread of
// whoever was the last to let go of it. For the memory behind the callbacks' `user`. Default: none.
QUARNEL_EXPORT quarnel_status quarnel_delegate_set_destructor(quarnel_delegate* delegate,
                                                              void (*destroy)(void* user),
                                                              void* user);

// The installation's conversion data. Arrives on the main queue when it is served from the stored
// copy, on the HTTP session's callback queue, a thread of the library, when it has just been
// fetched.
QUARNEL_EXPORT quarnel_status quarnel_delegate_set_on_conversion_data_received(
    quarnel_delegate* delegate, quarnel_on_data callback, void* user);

// Conversion data could not be fetched. Arrives on the main queue for a transport error, on the
// HTTP session's callback queue for every failure that follows a response, and on the calling
// thread when developer key and app ID make no URL.
QUARNEL_EXPORT quarnel_status quarnel_delegate_set_on_conversion_data_request_failure(
    quarnel_delegate* delegate, quarnel_on_failure callback, void* user);

// The application was opened from a link: its query parameters, or one entry "link". Arrives on the
// main queue, after the launch report that carries the link has been built.
QUARNEL_EXPORT quarnel_status quarnel_delegate_set_on_app_open_attribution(
    quarnel_delegate* delegate, quarnel_on_data callback, void* user);

// Makes the delegate the tracker's, replacing any other; NULL (the default): none. A callback in
// progress on another thread runs to its end.
QUARNEL_EXPORT quarnel_status quarnel_tracker_set_delegate(quarnel_tracker* tracker,
                                                           quarnel_delegate* delegate);

// Makes the delegate the tracker's, replacing any other, and asks for the installation's conversion
// data, if the delegate responds to them. At most five requests that the service refuses are made
// per version of the application. Needs developer key and app ID. What goes wrong later goes to the
// delegate.
QUARNEL_EXPORT quarnel_status quarnel_tracker_load_conversion_data_with_delegate(
    quarnel_tracker* tracker, quarnel_delegate* delegate);

// Write what they are given (a JSON object, an error's description) to the log in debug mode. For
// hosts that forward their delegate's calls. NULL is an empty object, and an empty description.
QUARNEL_EXPORT quarnel_status quarnel_tracker_on_conversion_data_received(quarnel_tracker* tracker,
                                                                          const char* data);
// See quarnel_tracker_on_conversion_data_received.
QUARNEL_EXPORT quarnel_status quarnel_tracker_on_conversion_data_request_failure(
    quarnel_tracker* tracker, const char* description);

// --- Reports -----------------------------------------------------------------------------------
// Touch neither disk nor network on the calling thread. A report that cannot be delivered is kept
// on disk and sent again after the next delivery. Sizes are not limited, but what waits is: while
// 16,384 reports or 64 MiB of their values wait to be built, further ones are not taken. The result
// is QUARNEL_OK all the same, and quarnel_tracker_diagnostics counts them as lost.tooManyWaiting.
// The offline cache holds 41 reports; one that fails while it is full is lost (lost.cacheFull).

// Reports a launch, 100 milliseconds from now; nothing is sent when the application resigned active
// 5 seconds ago or less. An ad client of the host's is asked on the calling thread, until it has
// attributed the installation; its answer goes with the report, or sends it once more.
QUARNEL_EXPORT quarnel_status quarnel_tracker_track_app_launch(quarnel_tracker* tracker);

// Reports an in-app event with one value, a text. A value of digits, "-" and "." counts as revenue.
// Name and value may be NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_track_event_with_value(quarnel_tracker* tracker,
                                                                     const char* event_name,
                                                                     const char* value);

// Reports an in-app event with several values, a JSON object. Values with dates, bytes or numbers
// that are not finite anywhere inside leave the event without values. Both may be NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_track_event_with_values(quarnel_tracker* tracker,
                                                                      const char* event_name,
                                                                      const char* values);

// Reports where the device is, in degrees.
QUARNEL_EXPORT quarnel_status quarnel_tracker_track_location(quarnel_tracker* tracker,
                                                             double longitude, double latitude);

// --- Links and pushes --------------------------------------------------------------------------
// Recorded, carried once by the next launch report, and then forgotten.

// The application was opened with a URL. Of several before a launch, the first one counts. The
// annotation is a JSON object, of which "ReferrerURL" counts; without one (NULL) an earlier
// referrer stays. All three may be NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_handle_open_url(quarnel_tracker* tracker,
                                                              const char* url,
                                                              const char* source_application,
                                                              const char* annotation);

// The activity type of a page opened in the application instead of the browser.
#define QUARNEL_ACTIVITY_TYPE_BROWSING_WEB "NSUserActivityTypeBrowsingWeb"

// The application continues an activity; a web page replaces any recorded link, also by none
// (NULL). The type must not be NULL. The handler, which may be NULL, is only mentioned in the log
// and never called.
QUARNEL_EXPORT quarnel_status
quarnel_tracker_continue_user_activity(quarnel_tracker* tracker, const char* activity_type,
                                       const char* webpage_url, void (*restoration_handler)(void));

// Logs the activity. The type must not be NULL.
QUARNEL_EXPORT quarnel_status quarnel_tracker_did_update_user_activity(quarnel_tracker* tracker,
                                                                       const char* activity_type,
                                                                       const char* webpage_url);

// A push notification arrived, a JSON object; its "qn" entry replaces any recorded one, also by
// nothing. NULL is an empty object.
QUARNEL_EXPORT quarnel_status quarnel_tracker_handle_push_notification(quarnel_tracker* tracker,
                                                                       const char* user_info);

// --- Purchases and registration ----------------------------------------------------------------

// The service confirmed the purchase; the answer is its whole answer, a JSON object.
typedef void (*quarnel_on_purchase_valid)(const char* answer, void* user);
// It did not. While 256 purchases wait, this comes on the calling thread, before the operation
// returns; else on a thread of the library. There is an error when the exchange failed, the answer
// is no JSON or there is no store receipt, and only the answer, as JSON, when that says no or does
// not know the transaction; the absent one is NULL.
typedef void (*quarnel_on_purchase_invalid)(const quarnel_error* error, const char* answer,
                                            void* user);

// Has the store receipt validated, calls `success` or `failure` once, from a thread of the library,
// and then reports the event "qn_purchase" whatever came out. While 256 purchases wait, the service
// is not asked, and `failure` is called on the calling thread, before this returns. The price is
// JSON, a number or a text, and is sent as it is given; price, currency, additional parameters (a
// JSON object) and the callbacks may be NULL. Without product or transaction identifier nothing
// happens, but a log line, and the result is QUARNEL_INVALID_ARGUMENT.
QUARNEL_EXPORT quarnel_status quarnel_tracker_validate_and_track_in_app_purchase(
    quarnel_tracker* tracker, const char* product_identifier, const char* price,
    const char* currency, const char* transaction_id, const char* additional_parameters,
    quarnel_on_purchase_valid success, quarnel_on_purchase_invalid failure, void* user);

// Registers the token of the platform's push service 3.5 seconds from now, if it is
// another one than before. Needs a report built earlier in this run of the application. Failures
// are logged and not retried. The token may be NULL if its size, in bytes, is 0.
QUARNEL_EXPORT quarnel_status quarnel_tracker_register_uninstall(quarnel_tracker* tracker,
                                                                 const uint8_t* device_token,
                                                                 size_t size);

// --- Questions and control ---------------------------------------------------------------------

// The identifier of this installation, for example "1447545600000-4821337"; never empty. The first
// call of an installation makes it and writes it to disk on the calling thread; later ones read it
// from memory. To be released with quarnel_string_free; NULL only on failure.
QUARNEL_EXPORT char* quarnel_tracker_get_quarnel_uid(quarnel_tracker* tracker);

// What became of all launch and event reports since the installation, as a JSON object with the
// members of Diagnostics: {"accepted": 7, ..., "lost": {"tooManyWaiting": 0, ...}}. Diagnostics.h
// tells how to see from them that nothing was lost. The first call may read a small file. To be
// released with quarnel_string_free; NULL only on failure.
QUARNEL_EXPORT char* quarnel_tracker_diagnostics(const quarnel_tracker* tracker);

// A connection whose end is to be told.
typedef struct quarnel_connection quarnel_connection;

// Tells the end of the connection and frees it: call it exactly once, on any thread, also late.
// NULL is allowed.
QUARNEL_EXPORT void quarnel_connection_ended(quarnel_connection* connection);

// Calls `start` at once, which starts a prepared connection, and waits on the calling thread for
// its end, for one second at most; after that it goes on by itself. No report goes this way.
QUARNEL_EXPORT quarnel_status quarnel_tracker_start_connection(
    quarnel_tracker* tracker, void (*start)(quarnel_connection* connection, void* user),
    void* user);

// Waits until nothing that the tracker was told is queued, delayed or in flight, or the timeout, in
// milliseconds and a day at most, is over: QUARNEL_OK or QUARNEL_TIMED_OUT. For applications about
// to end. Not from a callback, and with a main executor of the application's not from the thread
// that serves it.
QUARNEL_EXPORT quarnel_status quarnel_tracker_drain(quarnel_tracker* tracker,
                                                    int64_t timeout_milliseconds);

// --- Lifecycle notifications -------------------------------------------------------------------

// Post this one once, when the application has started. May carry the two launch options below.
#define QUARNEL_DID_FINISH_LAUNCHING "UIApplicationDidFinishLaunchingNotification"
// Post this one when the user leaves the application.
#define QUARNEL_WILL_RESIGN_ACTIVE "UIApplicationWillResignActiveNotification"
// Post this one when the application is no longer visible.
#define QUARNEL_DID_ENTER_BACKGROUND "UIApplicationDidEnterBackgroundNotification"

// Launch option: the URL that the application was started with, a text.
#define QUARNEL_LAUNCH_OPTIONS_URL "UIApplicationLaunchOptionsURLKey"
// Launch option: the application that had it started, a text.
#define QUARNEL_LAUNCH_OPTIONS_SOURCE_APPLICATION "UIApplicationLaunchOptionsSourceApplicationKey"

// Posts a notification to the default notification centre of this process. The shared tracker's
// handlers run on the calling thread before it returns; they touch neither disk nor network. Posted
// before the first quarnel_shared_tracker() it reaches nobody. The user information is a JSON
// object, or NULL for none; the name must not be NULL.
QUARNEL_EXPORT quarnel_status quarnel_post_notification(const char* name, const char* user_info);

#ifdef __cplusplus
}
#endif
