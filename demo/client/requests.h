// SPDX-License-Identifier: MIT
// One request each: sent, its answer checked (anything unexpected is a Failure), and reported in a line.
#pragma once

#include "client/samples.h"
#include "client/session.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace demo {

// What a request must lead to.
struct Expected {
    std::int32_t result;
    std::string_view layer;
    std::string_view backends;
};

// Sends requests for one group of one layer ("" is the default layer).
class Requests {
public:
    Requests(Session &session, std::string layer, std::string group)
        : session_(session), layer_(std::move(layer)), group_(std::move(group)) {}

    // Shows the layer's backends.
    void status(const Expected &expected);
    void create_group(const Expected &expected);
    void remove_group(const Expected &expected);
    void set(const Sample &sample, const Expected &expected);
    void get(const Sample &sample, const Expected &expected);
    void unset(const Sample &sample, const Expected &expected);
    // Sets a value and gets it back, in one line.
    void set_and_get(const Sample &sample, const Expected &expected);
    // Shows the bytes of the packet in which a value comes back.
    void show_packet(const Sample &sample, const Expected &expected);
    // Sets all values with one message.
    void set_together(const std::vector<Sample> &samples, const Expected &expected);
    void unset_each(const std::vector<Sample> &samples, const Expected &expected);
    // The group must hold exactly these, which ascend by name.
    void list(const std::vector<Sample> &samples, const Expected &expected);
    void list_keys(const std::vector<Sample> &samples, const Expected &expected);
    void sync(const Expected &expected);
    void stop(const Expected &expected);

private:
    [[nodiscard]] Message request(std::uint32_t code) const;
    [[nodiscard]] Message request(std::uint32_t code, const std::string &name) const;
    Answer ask(const Message &message, const Expected &expected);
    Answer ask_value(const Sample &sample, const Expected &expected);
    void change(const char *verb, const Message &message, const std::string &what, const Expected &expected);

    Session &session_;
    std::string layer_;
    std::string group_;
};

} // namespace demo
