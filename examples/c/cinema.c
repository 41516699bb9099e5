/* A cinema application in C: it was opened from a link, reports its launch, a film that was watched
   and a purchase, learns where the installation came from, and ends. */
#include <QuarnelTvOsLib/quarnel.h>
#include <stdio.h>
#include <stdlib.h>

/* Ends the application with the library's reason when it refuses what it is told. */
static void check(quarnel_status status) {
  if (status == QUARNEL_OK) return;
  fprintf(stderr, "cinema: %s\n", quarnel_last_error());
  exit(EXIT_FAILURE);
}

/* Callbacks come from threads of the library; what they get lives until they return. */

static void show(const char* data, void* title) { printf("%s: %s\n", (const char*)title, data); }

static void show_error(const quarnel_error* error, void* title) {
  printf("%s: %s\n", (const char*)title, quarnel_error_description(error));
}

static void deliver_film(const char* answer, void* film) {
  (void)answer;
  printf("bought: %s\n", (const char*)film);
}

static void refuse_film(const quarnel_error* error, const char* answer, void* film) {
  printf("not bought: %s, %s\n", (const char*)film,
         error != NULL ? quarnel_error_description(error) : answer);
}

/* What only the application knows. */
static void configure(const char* collector, const char* authority, const char* state,
                      const char* receipt) {
  char keychain[4096];
  snprintf(keychain, sizeof keychain, "%s/keychain.db", state);
  quarnel_environment* environment = quarnel_environment_create();
  for (int endpoint = QUARNEL_ENDPOINT_LAUNCH; endpoint <= QUARNEL_ENDPOINT_REGISTER; ++endpoint) {
    check(quarnel_environment_set_endpoint_host(environment, endpoint, collector));
  }
  check(quarnel_environment_set_certificate_authority_file(environment, authority));
  check(quarnel_environment_set_state_directory(environment, state));
  check(quarnel_environment_set_keychain_file(environment, keychain));
  check(quarnel_environment_set_receipt_file(environment, receipt));
  check(quarnel_environment_set_bundle_identifier(environment, "com.example.cinema"));
  check(quarnel_environment_set_bundle(environment, "42", "Cinema", "1.2"));
  check(quarnel_configure_shared_tracker(environment));
  quarnel_environment_free(environment);
}

/* Some of what is reported depends on whether the delegate responds to it. */
static quarnel_delegate* make_delegate(void) {
  quarnel_delegate* delegate = quarnel_delegate_create();
  check(quarnel_delegate_set_on_conversion_data_received(delegate, show, "came from"));
  check(quarnel_delegate_set_on_conversion_data_request_failure(delegate, show_error,
                                                                "came from somewhere"));
  check(quarnel_delegate_set_on_app_open_attribution(delegate, show, "opened from"));
  return delegate;
}

static void live(quarnel_tracker* tracker) {
  check(quarnel_tracker_handle_open_url(tracker, "cinema://film/7?qn_deeplink=spring",
                                        "com.example.guide", NULL));
  check(quarnel_tracker_track_app_launch(tracker));
  check(quarnel_tracker_track_event_with_value(tracker, "level", "12.50"));
  check(quarnel_tracker_track_event_with_values(tracker, "watched",
                                                "{\"film\": \"Räuber\", \"minutes\": 93}"));
  check(quarnel_tracker_validate_and_track_in_app_purchase(
      tracker, "film-7", "4.99", "EUR", "t1", NULL, deliver_film, refuse_film, "film-7"));
}

int main(int argument_count, char** arguments) {
  if (argument_count != 5) {
    fputs("usage: cinema HOST:PORT AUTHORITY_FILE STATE_DIRECTORY RECEIPT_FILE\n", stderr);
    return 2;
  }
  configure(arguments[1], arguments[2], arguments[3], arguments[4]);

  quarnel_tracker* tracker = quarnel_shared_tracker();
  check(quarnel_tracker_set_quarnel_dev_key(tracker, "devkey"));
  check(quarnel_tracker_set_apple_app_id(tracker, "123456789"));
  check(quarnel_tracker_set_customer_user_id(tracker, "viewer-42"));
  quarnel_delegate* delegate = make_delegate();
  check(quarnel_tracker_set_delegate(tracker, delegate));
  quarnel_delegate_release(delegate); /* The tracker holds it from here on. */
  live(tracker);
  /* About to end: give what is under way a moment, callbacks included. */
  check(quarnel_tracker_drain(tracker, 20000));
  return EXIT_SUCCESS;
}
