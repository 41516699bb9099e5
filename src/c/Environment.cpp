// What the host application hands in, in C.
#include <memory>
#include <utility>

#include "c/Handles.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::Endpoint;
using quarnel::HostEnvironment;

namespace {

HostEnvironment& environmentOf(quarnel_environment* handle) {
  return required(handle, "environment").environment;
}

Endpoint endpointOf(std::int32_t number) {
  switch (number) {
    case QUARNEL_ENDPOINT_LAUNCH:
      return Endpoint::kLaunch;
    case QUARNEL_ENDPOINT_EVENTS:
      return Endpoint::kEvents;
    case QUARNEL_ENDPOINT_STATS:
      return Endpoint::kStats;
    case QUARNEL_ENDPOINT_CONVERSION:
      return Endpoint::kConversion;
    case QUARNEL_ENDPOINT_SERVICES:
      return Endpoint::kServices;
    case QUARNEL_ENDPOINT_REGISTER:
      return Endpoint::kRegister;
    default:
      throw Refusal(QUARNEL_INVALID_ARGUMENT, "There is no endpoint of that number.");
  }
}

quarnel_status setText(quarnel_environment* environment,
                       void (HostEnvironment::*setter)(std::string), const char* text,
                       const char* name) noexcept {
  return guarded([&] { (environmentOf(environment).*setter)(requiredText(text, name)); });
}

}  // namespace

quarnel_environment* quarnel_environment_create() {
  return guardedResult<quarnel_environment*>(nullptr, [] { return new quarnel_environment; });
}

void quarnel_environment_free(quarnel_environment* environment) { delete environment; }

quarnel_status quarnel_environment_set_endpoint_host(quarnel_environment* environment,
                                                     int32_t endpoint, const char* host) {
  return guarded([&] {
    environmentOf(environment).setEndpointHost(endpointOf(endpoint), requiredText(host, "host"));
  });
}

quarnel_status quarnel_environment_set_state_directory(quarnel_environment* environment,
                                                       const char* path) {
  return setText(environment, &HostEnvironment::setStateDirectory, path, "path");
}

quarnel_status quarnel_environment_set_keychain_file(quarnel_environment* environment,
                                                     const char* path) {
  return setText(environment, &HostEnvironment::setKeychainFile, path, "path");
}

quarnel_status quarnel_environment_set_certificate_authority_file(quarnel_environment* environment,
                                                                  const char* path) {
  return setText(environment, &HostEnvironment::setCertificateAuthorityFile, path, "path");
}

quarnel_status quarnel_environment_set_uses_proxy_variables(quarnel_environment* environment,
                                                            bool uses) {
  return guarded([&] { environmentOf(environment).setUsesProxyVariables(uses); });
}

quarnel_status quarnel_environment_set_receipt_file(quarnel_environment* environment,
                                                    const char* path) {
  return setText(environment, &HostEnvironment::setReceiptFile, path, "path");
}

quarnel_status quarnel_environment_set_bundle_identifier(quarnel_environment* environment,
                                                         const char* identifier) {
  return setText(environment, &HostEnvironment::setBundleIdentifier, identifier, "identifier");
}

quarnel_status quarnel_environment_set_bundle(quarnel_environment* environment, const char* version,
                                              const char* display_name, const char* short_version) {
  return guarded([&] {
    environmentOf(environment)
        .setBundle(optionalText(version), optionalText(display_name), optionalText(short_version));
  });
}

quarnel_status quarnel_environment_set_device_fact(quarnel_environment* environment,
                                                   const char* field, const char* value) {
  return guarded([&] {
    const std::string name = requiredText(field, "field");
    if (environmentOf(environment).setDeviceFact(name, optionalText(value))) return;
    throw Refusal(QUARNEL_INVALID_ARGUMENT,
                  "There is no device fact of that name, or it does not take this value.");
  });
}

quarnel_status quarnel_environment_add_known_class(quarnel_environment* environment,
                                                   const char* name) {
  return setText(environment, &HostEnvironment::addKnownClass, name, "name");
}

void quarnel_task_run(quarnel_task* task) {
  const std::unique_ptr<quarnel_task> owned(task);
  if (owned) guarded(owned->run);
}

quarnel_status quarnel_environment_set_main_executor(quarnel_environment* environment,
                                                     quarnel_main_executor executor, void* user) {
  return guarded([&] {
    if (executor == nullptr) return environmentOf(environment).setMainExecutor(nullptr);
    environmentOf(environment).setMainExecutor([=](std::function<void()> task) {
      executor(new quarnel_task{std::move(task)}, user);
    });
  });
}

quarnel_status quarnel_environment_set_log_sink(quarnel_environment* environment,
                                                quarnel_log_sink sink, void* user) {
  return guarded([&] {
    if (sink == nullptr) return environmentOf(environment).setLogSink(nullptr);
    environmentOf(environment).setLogSink([=](std::string_view line) {
      sink(std::string(line).c_str(), user);
    });
  });
}

quarnel_status quarnel_advertising_identity_set(quarnel_advertising_identity* identity,
                                                const char* identifier, bool tracking_enabled) {
  return guarded([&] {
    auto& answer = required(identity, "identity").identity;
    answer.reset();
    if (identifier != nullptr) answer = {identifier, tracking_enabled};
  });
}

quarnel_status quarnel_environment_set_advertising_identifier_provider(
    quarnel_environment* environment, quarnel_advertising_identifier_provider provider,
    void* user) {
  return guarded([&] {
    if (provider == nullptr) {
      return environmentOf(environment).setAdvertisingIdentifierProvider(nullptr);
    }
    environmentOf(environment).setAdvertisingIdentifierProvider([=] {
      quarnel_advertising_identity answer;
      provider(&answer, user);
      return answer.identity;
    });
  });
}

quarnel_status quarnel_environment_set_cloud_identity_provider(
    quarnel_environment* environment, quarnel_cloud_identity_provider provider, void* user) {
  return guarded([&] {
    if (provider == nullptr) return environmentOf(environment).setCloudIdentityProvider(nullptr);
    environmentOf(environment).setCloudIdentityProvider([=] { return provider(user); });
  });
}
