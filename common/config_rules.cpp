// SPDX-License-Identifier: MIT
#include "common/config_rules.h"

#include "common/number_text.h"
#include "common/setting_counts.h"
#include "common/setting_text.h"
#include "common/setting_words.h"

#include <sys/un.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

namespace varnel {

namespace {

constexpr std::uint32_t kMostId = std::numeric_limits<std::uint32_t>::max() - 1; // the last one means "no change"
constexpr std::uint32_t kLeastFlush = 10;
constexpr std::uint32_t kMostFlush = 3600000;

bool is_path(std::string_view text) {
    return !text.empty();
}

bool is_socket_path(std::string_view text) {
    return !text.empty() && text.size() < sizeof(sockaddr_un::sun_path);
}

// A name, or a number of a user or group.
bool is_account(std::string_view text) {
    const bool number = text.find_first_not_of("0123456789") == std::string_view::npos;
    return number ? parse_count(text, 0, kMostId).has_value()
                  : text.front() != '-' && text.find_first_of(" \t:/") == std::string_view::npos;
}

bool is_mode(std::string_view text) {
    return parse_mode(text).has_value();
}

bool is_udp_address(std::string_view text) {
    return parse_udp_address(text).has_value();
}

bool is_flush_interval(std::string_view text) {
    return parse_count(text, kLeastFlush, kMostFlush).has_value();
}

template <const WordSetting &setting> bool is_word(std::string_view text) {
    return is_word_of(setting, text);
}

template <const WordSetting &setting> constexpr SettingRule rule_of(bool fatal) {
    return {setting.name, is_word<setting>, setting.expected, fatal};
}

template <const CountSetting &setting> bool is_count(std::string_view text) {
    return parse_count_of(setting, text).has_value();
}

template <const CountSetting &setting> constexpr SettingRule rule_of(bool fatal) {
    return {setting.name, is_count<setting>, setting.expected, fatal};
}

// As confparser_getint reads: in base 0, where a leading zero means octal.
bool is_integer(std::string_view text) {
    const std::size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    const std::string_view digits = text.substr(sign);
    const bool octal = digits.size() > 1 && digits[0] == '0' && digits[1] != 'x';
    const bool hexadecimal = digits.starts_with("0x");
    const auto number = read_digits(hexadecimal ? digits.substr(2) : digits, octal ? 8 : (hexadecimal ? 16 : 10));
    const std::uint64_t most =
        std::uint64_t{std::numeric_limits<std::int32_t>::max()} + (text.starts_with('-') ? 1 : 0);
    return number && *number <= most;
}

bool starts_with_any(std::string_view text, std::string_view characters) {
    return !text.empty() && characters.find(text.front()) != std::string_view::npos;
}

constexpr const char *kPath = "a path";
constexpr const char *kYesOrNo = "yes or no";

constexpr SettingRule kDaemonRules[] = {
    {"socket", is_socket_path, "a path of at most 107 bytes", true},
    {"owner", is_account, "the name or number of a user", true},
    {"group", is_account, "the name or number of a group", true},
    {"mode", is_mode, "an octal number from 0 to 0777", true},
    {"udp", is_udp_address, "ADDRESS:PORT or PORT, an IPv4 address and a port from 1 to 32767", true},
    {"modules", is_path, kPath, true},
    {"state", is_path, kPath, true},
    {"flush_interval", is_flush_interval, "milliseconds from 10 to 3600000", true},
};
static_assert(sizeof(sockaddr_un::sun_path) == 108);

constexpr SettingRule kLayerRules[] = {
    rule_of<kDurability>(true),
    {"readonly", is_boolean, kYesOrNo, false},
};

constexpr SettingRule kBackendRules[] = {
    {"library", is_path, "the file of a module", true},
    {"priority", is_integer, "an integer", false},
    {"readonly", is_boolean, kYesOrNo, false},
};

// A module that cannot make sense of a setting refuses every request; the daemon starts all the same.
constexpr SettingRule kSqliteRules[] = {
    {"folder", is_path, kPath, false},
    rule_of<kSqliteJournal>(false),
    rule_of<kSqliteSync>(false),
    rule_of<kMaxBytes>(false),
};

constexpr SettingRule kMemoryRules[] = {
    rule_of<kMaxBytes>(false),
};

constexpr SettingRule kDefaultsRules[] = {
    {"file", is_path, kPath, false},
    {"required", is_boolean, kYesOrNo, false},
};

} // namespace

std::span<const SettingRule> daemon_rules() {
    return kDaemonRules;
}

std::span<const SettingRule> layer_rules() {
    return kLayerRules;
}

std::span<const SettingRule> backend_rules() {
    return kBackendRules;
}

std::span<const SettingRule> module_rules(std::string_view module) {
    if (module == "sqlite")
        return kSqliteRules;
    if (module == "memory")
        return kMemoryRules;
    if (module == "defaults")
        return kDefaultsRules;
    return {};
}

const SettingRule *find_rule(std::span<const SettingRule> rules, std::string_view name) {
    const auto found =
        std::find_if(rules.begin(), rules.end(), [&](const SettingRule &rule) { return name == rule.name; });
    return found != rules.end() ? &*found : nullptr;
}

std::vector<std::string> names_of(std::span<const SettingRule> rules) {
    std::vector<std::string> names(rules.size());
    std::transform(rules.begin(), rules.end(), names.begin(), [](const SettingRule &rule) { return rule.name; });
    return names;
}

bool is_boolean(std::string_view text) {
    return is_true(text) || starts_with_any(text, "nN0fF");
}

bool is_true(std::string_view text) {
    return starts_with_any(text, "yY1tT");
}

} // namespace varnel
