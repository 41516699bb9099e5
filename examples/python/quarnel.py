"""The library for Python, by way of its C face.

    import quarnel

    tracker = quarnel.shared_tracker(state_directory="/var/lib/cinema")
    tracker.quarnel_dev_key = "my-developer-key"
    tracker.apple_app_id = "123456789"
    tracker.track_app_launch()
    tracker.track_event_with_values("purchase", {"qn_revenue": 9.99})

Dictionaries may hold dates (datetime), bytes and everything that JSON can say. What the library
refuses raises quarnel.Refused. Callbacks run on threads of the library; with a main executor, those
that belong on the main queue run where it says. The library is found by the
environment variable QUARNEL_LIBRARY, or else by its name.
"""

import atexit
import ctypes
import datetime
import itertools
import json
import os
from ctypes import c_bool, c_char_p, c_double, c_int32, c_int64, c_size_t, c_void_p

_library = ctypes.CDLL(os.environ.get("QUARNEL_LIBRARY", "libQuarnelTvOsLib.so.1"))

_OnData = ctypes.CFUNCTYPE(None, c_char_p, c_void_p)
_OnFailure = ctypes.CFUNCTYPE(None, c_void_p, c_void_p)
_OnPurchaseInvalid = ctypes.CFUNCTYPE(None, c_void_p, c_char_p, c_void_p)
_Executor = ctypes.CFUNCTYPE(None, c_void_p, c_void_p)
_LogSink = ctypes.CFUNCTYPE(None, c_char_p, c_void_p)

# What the library may call until the process ends has to stay alive: delegates, executor, log sink.
_callbacks = []
# What it calls once is found by the number that it hands back, and forgotten then.
_purchases = {}
_purchase_numbers = itertools.count(1)


class Refused(Exception):
    """The library does not do what it was told; the text says why."""


class Failure(Exception):
    """What went wrong, as failure callbacks receive it."""

    def __init__(self, domain, code, description):
        super().__init__(description)
        self.domain, self.code = domain, code


def _function(name, result, *arguments):
    function = getattr(_library, name)
    function.restype, function.argtypes = result, arguments
    return function


_last_error = _function("quarnel_last_error", c_char_p)
_string_free = _function("quarnel_string_free", None, c_void_p)
_error_domain = _function("quarnel_error_domain", c_char_p, c_void_p)
_error_code = _function("quarnel_error_code", c_int32, c_void_p)
_error_description = _function("quarnel_error_description", c_char_p, c_void_p)


def _operation(name, *arguments):
    """An operation with a status: a refusal raises."""
    function = _function(name, c_int32, *arguments)

    def call(*values):
        if function(*values) != 0:
            raise Refused(_last_error().decode())

    return call


def _taken(address):
    """The text at an address that the library has handed over."""
    if address is None:
        return None
    text = ctypes.string_at(address).decode()
    _string_free(address)
    return text


def _text(text):
    return None if text is None else text.encode("utf-8", "replace")


def _tag(value):
    if isinstance(value, datetime.datetime):
        return {"$date": value.timestamp()}
    if isinstance(value, (bytes, bytearray)):
        return {"$data": value.hex()}
    raise TypeError(f"{type(value).__name__} has no form in a report")


def _json(value):
    return None if value is None else json.dumps(value, default=_tag).encode()


def _on_data(function):
    callback = _OnData(lambda data, _: function(json.loads(data)))
    _callbacks.append(callback)
    return callback


def _failure(error):
    return Failure(_error_domain(error).decode(), _error_code(error),
                   _error_description(error).decode())


@_OnData
def _on_purchase_valid(answer, number):
    success, _ = _purchases.pop(number)
    if success:
        success(json.loads(answer))


@_OnPurchaseInvalid
def _on_purchase_invalid(error, answer, number):
    _, failure = _purchases.pop(number)
    if failure:
        failure(_failure(error) if error else None, json.loads(answer) if answer else None)


class Delegate:
    """What the tracker tells the application. None is an operation that is not responded to."""

    def __init__(self, on_conversion_data_received=None, on_conversion_data_request_failure=None,
                 on_app_open_attribution=None):
        self.handle = _function("quarnel_delegate_create", c_void_p)()
        if on_conversion_data_received:
            self._set("on_conversion_data_received", _on_data(on_conversion_data_received))
        if on_app_open_attribution:
            self._set("on_app_open_attribution", _on_data(on_app_open_attribution))
        if on_conversion_data_request_failure:
            callback = _OnFailure(
                lambda error, _: on_conversion_data_request_failure(_failure(error)))
            _callbacks.append(callback)
            self._set("on_conversion_data_request_failure", callback)

    def _set(self, name, callback):
        _operation(f"quarnel_delegate_set_{name}", c_void_p, type(callback), c_void_p)(
            self.handle, callback, None)


class Tracker:
    """Reports launches and in-app events, and answers questions about the installation."""

    def __init__(self, handle):
        self._handle = handle

    def _call(self, name, *typed_values):
        """Calls an operation with (type, value) pairs behind the handle."""
        types, values = zip(*typed_values) if typed_values else ((), ())
        _operation(f"quarnel_tracker_{name}", c_void_p, *types)(self._handle, *values)

    def set_additional_data(self, data):
        self._call("set_additional_data", (c_char_p, _json(data)))

    def set_user_emails(self, emails, crypt_type=1):
        self._call("set_user_emails", (c_char_p, _json(emails)), (c_int32, crypt_type))

    def set_delegate(self, delegate):
        self._call("set_delegate", (c_void_p, delegate.handle if delegate else None))

    def load_conversion_data_with_delegate(self, delegate):
        self._call("load_conversion_data_with_delegate", (c_void_p, delegate.handle))

    def track_app_launch(self):
        self._call("track_app_launch")

    def track_event_with_value(self, name, value=None):
        self._call("track_event_with_value", (c_char_p, _text(name)), (c_char_p, _text(value)))

    def track_event_with_values(self, name, values=None):
        self._call("track_event_with_values", (c_char_p, _text(name)), (c_char_p, _json(values)))

    def track_location(self, longitude, latitude):
        self._call("track_location", (c_double, longitude), (c_double, latitude))

    def handle_open_url(self, url, source_application=None, annotation=None):
        self._call("handle_open_url", (c_char_p, _text(url)),
                   (c_char_p, _text(source_application)), (c_char_p, _json(annotation)))

    def handle_push_notification(self, user_info):
        self._call("handle_push_notification", (c_char_p, _json(user_info)))

    def validate_and_track_in_app_purchase(self, product, price, currency, transaction,
                                           parameters=None, success=None, failure=None):
        """Calls success(answer), or failure(error, answer) in which one of the two is None."""
        number = next(_purchase_numbers)
        _purchases[number] = success, failure
        try:
            self._call("validate_and_track_in_app_purchase", (c_char_p, _text(product)),
                       (c_char_p, _json(price)), (c_char_p, _text(currency)),
                       (c_char_p, _text(transaction)), (c_char_p, _json(parameters)),
                       (_OnData, _on_purchase_valid), (_OnPurchaseInvalid, _on_purchase_invalid),
                       (c_void_p, number))
        except Refused:
            del _purchases[number]
            raise

    def register_uninstall(self, token):
        self._call("register_uninstall", (c_char_p, token), (c_size_t, len(token)))

    def get_quarnel_uid(self):
        return _taken(_function("quarnel_tracker_get_quarnel_uid", c_void_p, c_void_p)(self._handle))

    def diagnostics(self):
        """What became of all reports: a dictionary of counts, see Diagnostics.h."""
        return json.loads(
            _taken(_function("quarnel_tracker_diagnostics", c_void_p, c_void_p)(self._handle)))

    def drain(self, seconds):
        """Whether all that the tracker was told is done before the time is over."""
        drain = _function("quarnel_tracker_drain", c_int32, c_void_p, c_int64)
        return drain(self._handle, round(seconds * 1000)) == 0


def _property(name, setter_type, getter_type, encode, decode):
    setter = _operation(f"quarnel_tracker_set_{name}", c_void_p, setter_type)
    getter = _function(f"quarnel_tracker_{name}", getter_type, c_void_p)
    return property(lambda self: decode(getter(self._handle)),
                    lambda self, value: setter(self._handle, encode(value)))


for _name in ("quarnel_dev_key", "apple_app_id", "customer_user_id", "currency_code"):
    setattr(Tracker, _name, _property(_name, c_char_p, c_void_p, _text, _taken))
for _name in ("is_debug", "should_collect_device_name", "disable_apple_ad_support_tracking",
              "device_tracking_disabled", "disable_iad_tracking",
              "use_receipt_validation_sandbox"):
    setattr(Tracker, _name, _property(_name, c_bool, c_bool, bool, bool))


def shared_tracker(host=None, bundle=None, main_executor=None, log_sink=None, **texts):
    """The one tracker of this process. On the first call it may be given the host of all services,
    the bundle (version, display name, short version), and any text that the environment takes:
    state_directory, certificate_authority_file, receipt_file, bundle_identifier, keychain_file.

    main_executor(task) has the application's main loop call task(), once and in the order of the
    calls, such as asyncio's loop.call_soon_threadsafe; then drain() from another thread than the
    loop's before the loop ends. log_sink(line) takes log lines, on any thread."""
    if host or bundle or main_executor or log_sink or texts:
        _configure(host, bundle, main_executor, log_sink, texts)
    handle = _function("quarnel_shared_tracker", c_void_p)()
    if handle is None:
        raise Refused(_last_error().decode())
    tracker = Tracker(handle)
    atexit.register(_end, tracker, main_executor is None)
    return tracker


def _executor_callback(main_executor):
    run = _function("quarnel_task_run", None, c_void_p)
    return _Executor(lambda task, _: main_executor(lambda: run(task)))


def _configure(host, bundle, main_executor, log_sink, texts):
    environment = _function("quarnel_environment_create", c_void_p)()

    def hand_in(name, *typed_values):
        types, values = zip(*typed_values)
        _operation(f"quarnel_environment_{name}", c_void_p, *types)(environment, *values)

    try:
        for endpoint in range(6) if host else ():
            hand_in("set_endpoint_host", (c_int32, endpoint), (c_char_p, _text(host)))
        if bundle:
            hand_in("set_bundle", *((c_char_p, _text(text)) for text in bundle))
        for name, callback in (
                ("main_executor", main_executor and _executor_callback(main_executor)),
                ("log_sink", log_sink and _LogSink(
                    lambda line, _: log_sink(line.decode("utf-8", "replace"))))):
            if callback:
                _callbacks.append(callback)
                hand_in(f"set_{name}", (type(callback), callback), (c_void_p, None))
        for name, text in texts.items():
            hand_in(f"set_{name}", (c_char_p, _text(text)))
        _operation("quarnel_configure_shared_tracker", c_void_p)(environment)
    finally:
        _function("quarnel_environment_free", None, c_void_p)(environment)


def _end(tracker, drains):
    """The interpreter ends: nothing may call into it from now on."""
    tracker.set_delegate(None)
    tracker.is_debug = False
    if drains:
        tracker.drain(5)
