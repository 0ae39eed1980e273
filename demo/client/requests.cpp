// SPDX-License-Identifier: MIT
#include "client/requests.h"

#include "client/annotate.h"
#include "common/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace demo {

namespace {

constexpr std::size_t kWidthOfWhat = 47;

std::string amount(std::uint32_t packets, std::size_t bytes) {
    return std::to_string(bytes) + " bytes in " + std::to_string(packets) + (packets == 1 ? " packet" : " packets");
}

// Fills up with spaces; bytes that continue a UTF-8 character take no column.
std::string padded(std::string text, std::size_t width) {
    const auto columns = static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
    return text.append(columns < width ? width - columns : 0, ' ');
}

// What was asked, what it took to send -> who answered: the result, what the answer took.
void report(const char *verb, const std::string &what, const Answer &answer) {
    const std::string backends = answer.backends().empty() ? "no backend" : answer.backends();
    std::printf("  %-9s %s %s -> %s/%s: %s, %s\n", verb, padded(what, kWidthOfWhat).c_str(),
                amount(answer.request_packets, answer.request_bytes).c_str(), answer.layer().c_str(), backends.c_str(),
                answer.result() == 0 ? "ok" : describe_result(answer.result()).c_str(),
                amount(answer.packets, answer.bytes).c_str());
}

std::string origin(std::int32_t result, std::string_view layer, std::string_view backends) {
    std::string words = describe_result(result).append(" from ");
    return words.append(layer).append("/").append(backends.empty() ? "no backend" : backends);
}

void expect_size(const Answer &answer, std::size_t size) {
    if (answer.size() != size)
        throw Failure(std::string(control_string(answer.message.code())) + ": expected " + std::to_string(size) +
                      " parameters, got " + std::to_string(answer.size()));
}

} // namespace

Message Requests::request(std::uint32_t code) const {
    Message message(code);
    message.add(layer_).add(group_);
    return message;
}

Message Requests::request(std::uint32_t code, const std::string &name) const {
    Message message = request(code);
    message.add(name);
    return message;
}

Answer Requests::ask(const Message &message, const Expected &expected) {
    Answer answer = session_.ask(message);
    const std::string what = control_string(message.code());
    if (answer.result() != expected.result || answer.layer() != expected.layer ||
        answer.backends() != expected.backends)
        throw Failure(what + ": expected " + origin(expected.result, expected.layer, expected.backends) + ", got " +
                      origin(answer.result(), answer.layer(), answer.backends()));
    return answer;
}

Answer Requests::ask_value(const Sample &sample, const Expected &expected) {
    Answer answer = ask(request(control_get, sample.name), expected);
    expect_size(answer, expected.result == 0 ? 1 : 0);
    if (expected.result == 0)
        expect_value(sample.name, answer.at(0), *sample.make());
    return answer;
}

void Requests::change(const char *verb, const Message &message, const std::string &what, const Expected &expected) {
    const Answer answer = ask(message, expected);
    expect_size(answer, 0);
    report(verb, what, answer);
}

void Requests::status(const Expected &expected) {
    const Answer answer = ask(request(control_status), expected);
    constexpr std::size_t kPerBackend = 5;
    report("status", "layer " + answer.layer() + " has:", answer);
    for (std::size_t i = 0; i < answer.size(); i += kPerBackend) {
        std::printf("  %-9s backend %s: module %s, priority %s, %s values, read-only %s\n", "",
                    in_words(answer.at(i)).c_str(), in_words(answer.at(i + 1)).c_str(),
                    in_words(answer.at(i + 2)).c_str(), in_words(answer.at(i + 3)).c_str(),
                    in_words(answer.at(i + 4)).c_str());
    }
}

void Requests::create_group(const Expected &expected) {
    change("create", request(control_create_group), "group " + group_, expected);
}

void Requests::remove_group(const Expected &expected) {
    change("remove", request(control_remove_group), "group " + group_, expected);
}

void Requests::set(const Sample &sample, const Expected &expected) {
    Message message = request(control_set, sample.name);
    message.add(sample.make());
    change("set", message, group_ + ":" + sample.name + " = " + describe(*sample.make()), expected);
}

void Requests::get(const Sample &sample, const Expected &expected) {
    const Answer answer = ask_value(sample, expected);
    const std::string value = expected.result == 0 ? " = " + describe(answer.at(0)) : "";
    report("get", group_ + ":" + sample.name + value, answer);
}

void Requests::unset(const Sample &sample, const Expected &expected) {
    change("unset", request(control_unset, sample.name), group_ + ":" + sample.name, expected);
}

void Requests::set_and_get(const Sample &sample, const Expected &expected) {
    Message message = request(control_set, sample.name);
    message.add(sample.make());
    expect_size(ask(message, expected), 0);
    const Answer answer = ask_value(sample, expected);
    report("set, get", group_ + ":" + sample.name + " = " + describe(answer.at(0)), answer);
}

void Requests::show_packet(const Sample &sample, const Expected &expected) {
    const Answer answer = ask_value(sample, expected);
    std::printf("\nThe packet in which %s:%s came back (offset, bytes, meaning):\n", group_.c_str(),
                sample.name.c_str());
    print_packet(answer.last_packet);
    std::printf("\n");
}

void Requests::set_together(const std::vector<Sample> &samples, const Expected &expected) {
    Message message = request(control_set);
    for (const Sample &sample : samples)
        message.add(sample.name).add(sample.make());
    change("set", message, group_ + ": " + std::to_string(samples.size()) + " values together", expected);
}

void Requests::unset_each(const std::vector<Sample> &samples, const Expected &expected) {
    for (const Sample &sample : samples) {
        expect_size(ask(request(control_unset, sample.name), expected), 0);
        ask_value(sample, {-ENOENT, expected.layer, ""});
    }
    std::printf("  %-9s %s: all %zu values, one by one; none is found any more\n", "unset", group_.c_str(),
                samples.size());
}

void Requests::list(const std::vector<Sample> &samples, const Expected &expected) {
    const Answer answer = ask(request(control_list), expected);
    expect_size(answer, 2 * samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        expect_value("key", answer.at(2 * i), *make_text(answer.layer() + ":" + group_ + ":" + samples[i].name));
        expect_value(samples[i].name, answer.at(2 * i + 1), *samples[i].make());
    }
    report("list", group_ + ": " + std::to_string(samples.size()) + " values, all as sent", answer);
}

void Requests::list_keys(const std::vector<Sample> &samples, const Expected &expected) {
    const Answer answer = ask(request(control_list_keys), expected);
    const std::string group_key = answer.layer() + ":" + group_;
    expect_size(answer, 1 + samples.size());
    expect_value("key", answer.at(0), *make_text(group_key));
    for (std::size_t i = 0; i < samples.size(); ++i)
        expect_value("key", answer.at(1 + i), *make_text(group_key + ":" + samples[i].name));
    report("list_keys", group_key + " and " + std::to_string(samples.size()) + " keys in it", answer);
}

void Requests::sync(const Expected &expected) {
    change("sync", request(control_sync), "all changes", expected);
}

void Requests::stop(const Expected &expected) {
    expect_size(ask(request(control_other), expected), 0);
}

} // namespace demo
