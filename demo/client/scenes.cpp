// SPDX-License-Identifier: MIT
#include "client/scenes.h"

#include "client/requests.h"

#include <cerrno>

namespace demo {

namespace {

constexpr Expected kSettings{0, "user", "settings"};
constexpr Expected kDefaults{0, "user", "defaults"};
constexpr Expected kSession{0, "system", "session"};
constexpr Expected kNotInSystem{-ENOENT, "system", ""};
constexpr Expected kReadOnly{-EROFS, "user", "defaults"};

} // namespace

void show_layers(Session &session) {
    Requests(session, "user", "").status({0, "user", "settings+defaults"});
    Requests(session, "system", "").status({0, "system", "session+settings"});
}

void all_types(Session &session) {
    const std::vector<Sample> samples = samples_of_all_types();
    Requests sensors(session, "user", "sensors");
    sensors.create_group(kSettings);
    for (const Sample &sample : samples)
        sensors.set_and_get(sample, kSettings);
    sensors.list(samples, kSettings);
    sensors.list_keys(samples, kSettings);
    sensors.show_packet(samples[0], kSettings);
    sensors.unset_each(samples, kSettings);
    sensors.remove_group(kSettings);
    sensors.sync({0, "user", "settings+defaults"});
}

void layers_of_values(Session &session) {
    const Sample made_with = text_sample("hostname", "varnel-device");
    const Sample mine = text_sample("hostname", "Kitchen Display");
    Requests network(session, "user", "network");
    network.get(made_with, kDefaults);
    network.unset(made_with, kReadOnly);
    network.set(mine, kSettings);
    Requests(session, "", "network").get(mine, kSettings); // the default layer
    Requests(session, "system", "network").get(mine, kNotInSystem);
    network.unset(mine, kSettings);
    network.get(made_with, kDefaults);
}

void long_message(Session &session) {
    const std::vector<Sample> samples = long_samples();
    Requests archive(session, "user", "archive");
    archive.set_together(samples, kSettings);
    archive.list(samples, kSettings);
    archive.remove_group(kSettings);
}

void over_datagrams(Session &session) {
    const std::vector<Sample> samples = samples_of_all_types();
    Requests radio(session, "system", "radio");
    radio.set_together(samples, kSession);
    radio.list(samples, kSession);
    radio.set_and_get(text_sample("notes", std::string(5000, 'n')), kSession);
    radio.remove_group(kSession);
}

void stop_server(Session &session) {
    Requests(session, "", "").stop({0, "user", ""});
}

} // namespace demo
