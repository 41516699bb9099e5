#!/usr/bin/env python3
"""A cinema application in Python: it was opened from a link, reports its launch, a film that was
watched and a purchase, learns where the installation came from, and ends."""

import asyncio
import json
import sys
import threading

import quarnel


def show(title):
    return lambda data: print(f"{title}: {json.dumps(data, separators=(',', ':'))}", flush=True)


def opened(link):
    if threading.current_thread() is not threading.main_thread():
        print("a callback for the main loop came elsewhere")
    show("opened from")(link)


async def main(collector, authority, state, receipt):
    log = []
    tracker = quarnel.shared_tracker(
        main_executor=asyncio.get_running_loop().call_soon_threadsafe, log_sink=log.append,
        host=collector, certificate_authority_file=authority, state_directory=state,
        keychain_file=state + "/keychain.db",
        receipt_file=receipt, bundle_identifier="com.example.cinema",
        bundle=("42", "Cinema", "1.2"))
    tracker.quarnel_dev_key = "devkey"
    tracker.apple_app_id = "123456789"
    tracker.customer_user_id = "viewer-42"
    tracker.set_delegate(quarnel.Delegate(
        on_conversion_data_received=show("came from"),
        on_conversion_data_request_failure=lambda error: print("came from somewhere:", error),
        on_app_open_attribution=opened))
    tracker.is_debug = True

    tracker.handle_open_url("cinema://film/7?qn_deeplink=spring", "com.example.guide")
    tracker.track_app_launch()
    tracker.track_event_with_value("level", "12.50")
    tracker.track_event_with_values("watched", {"film": "Räuber", "minutes": 93})
    tracker.validate_and_track_in_app_purchase(
        "film-7", 4.99, "EUR", "t1",
        success=lambda answer: print("bought: film-7", flush=True),
        failure=lambda error, answer: print("not bought: film-7,", error or answer, flush=True))

    # About to end: give what is under way a moment, callbacks included. The loop goes on meanwhile.
    if not await asyncio.to_thread(tracker.drain, 20):
        sys.exit("cinema: not everything was reported in time")
    if any(tracker.diagnostics()["lost"].values()):
        sys.exit("cinema: reports were lost")
    if not any("sent information to server" in line for line in log):
        sys.exit("cinema: the log says nothing of a delivery")


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit("usage: cinema.py HOST:PORT AUTHORITY_FILE STATE_DIRECTORY RECEIPT_FILE")
    asyncio.run(main(*sys.argv[1:]))
