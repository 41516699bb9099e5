// How to let an application report to this collector.
import * as copy from './copy.js';
import {byId, element} from './dom.js';

const text = JSON.stringify;  // A text in C, C++ and Python.
const shell = (value) => `'${value.replaceAll("'", "'\\''")}'`;

const snippets = {
  'C++': ({host, developerKey, authority}) => `quarnel::HostEnvironment environment;
for (quarnel::Endpoint endpoint :
     {quarnel::Endpoint::kLaunch, quarnel::Endpoint::kEvents, quarnel::Endpoint::kStats,
      quarnel::Endpoint::kConversion, quarnel::Endpoint::kServices, quarnel::Endpoint::kRegister}) {
  environment.setEndpointHost(endpoint, ${text(host)});
}
environment.setCertificateAuthorityFile(${text(authority)});
quarnel::QuarnelTracker::configureSharedTracker(environment);

auto& tracker = quarnel::QuarnelTracker::sharedTracker();
tracker.setQuarnelDevKey(${text(developerKey)});
tracker.setAppleAppID("123456789");  // Digits only.
tracker.trackAppLaunch();`,
  'C': ({host, developerKey, authority}) => `quarnel_environment* environment = quarnel_environment_create();
for (int endpoint = QUARNEL_ENDPOINT_LAUNCH; endpoint <= QUARNEL_ENDPOINT_REGISTER; ++endpoint) {
  quarnel_environment_set_endpoint_host(environment, endpoint, ${text(host)});
}
quarnel_environment_set_certificate_authority_file(environment, ${text(authority)});
quarnel_configure_shared_tracker(environment);
quarnel_environment_free(environment);

quarnel_tracker* tracker = quarnel_shared_tracker();
quarnel_tracker_set_quarnel_dev_key(tracker, ${text(developerKey)});
quarnel_tracker_set_apple_app_id(tracker, "123456789");
quarnel_tracker_track_app_launch(tracker);`,
  'Python': ({host, developerKey, authority}) => `import quarnel

tracker = quarnel.shared_tracker(
    host=${text(host)},
    certificate_authority_file=${text(authority)})
tracker.quarnel_dev_key = ${text(developerKey)}
tracker.apple_app_id = "123456789"
tracker.track_app_launch()`,
  'quarnel-host': ({host, developerKey, authority}) => `quarnel-host --state /tmp/my-application --app-id 123456789 \\
  --dev-key ${shell(developerKey)} --collector ${shell(host)} \\
  --ca ${shell(authority)} <<'END'
["trackAppLaunch"]
["wait", 0.5]
["trackEvent:withValues:", "purchase", {"qn_revenue": 9.99}]
["drain"]
END`,
};

const fact = (name, value) => [element('dt', {}, name),
  element('dd', {}, element('code', {}, value), copy.button('Copy', name.toLowerCase(), () => value))];

export function show(facts) {
  byId('connection-facts').replaceChildren(...fact('All six hosts', facts.host),
    ...fact('Developer key', facts.developerKey), ...fact('Authority file', facts.authority));
  byId('snippets').replaceChildren(...Object.entries(snippets).map(([name, make], index) =>
    element('details', {open: index === 0, name: 'snippet'}, element('summary', {}, name),
      element('div', {class: 'snippet'}, copy.button('Copy', `the snippet for ${name}`, () => make(facts)),
        element('pre', {tabindex: '0', 'aria-label': `Snippet for ${name}`}, make(facts))))));
}
