// SPDX-License-Identifier: MIT
// Numbers are read and printed in one way, whatever the locale of the program says.
#include "common/value_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using varnel::parse_value;
using varnel::print_value;

// Makes a locale with a decimal comma, which need not be installed, and sets it for numbers.
class CommaLocale {
public:
    CommaLocale() : folder_(testing::TempDir() + "/varnel_locale_XXXXXX") {
        if (mkdtemp(folder_.data()) == nullptr) {
            ADD_FAILURE() << "no temporary folder at " << folder_;
            return;
        }
        std::ofstream(folder_ + "/source")
            << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n";
        // Its other categories are missing, which localedef minds and we do not.
        const std::string order = std::endian::native == std::endian::little ? "--little-endian" : "--big-endian";
        const std::string command = "localedef --quiet --force -c " + order + " -i " + folder_ + "/source " + folder_ +
                                    "/xx_XX >/dev/null 2>&1";
        static_cast<void>(!std::system(command.c_str()));
        setenv("LOCPATH", folder_.c_str(), 1);
        std::setlocale(LC_NUMERIC, "xx_XX");
    }
    CommaLocale(const CommaLocale &) = delete;
    CommaLocale &operator=(const CommaLocale &) = delete;
    ~CommaLocale() {
        std::setlocale(LC_NUMERIC, "C");
        std::filesystem::remove_all(folder_);
    }

private:
    std::string folder_;
};

TEST(FloatingText, IsTheSameInEveryLocale) {
    const CommaLocale locale;
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
    for (const xdata_type type : {XDATA_FLOAT, XDATA_DOUBLE}) {
        const varnel::Value value = parse_value("1.5", type, nullptr);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(print_value(*value), "1.5");
        EXPECT_EQ(parse_value("1,5", type, nullptr), nullptr);
    }
    EXPECT_EQ(varnel::guess_type("1.5"), xdata_type{XDATA_DOUBLE});
    EXPECT_EQ(varnel::guess_type("1,5"), xdata_type{XDATA_STRING});
}

} // namespace
