// SPDX-License-Identifier: MIT
#include "bench/store/environment.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sys/utsname.h>
#include <unistd.h>

namespace varnel::bench {

namespace {

// Not every architecture's /proc/cpuinfo has a name.
std::string processor_name() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos)
            return line.substr(colon + 2);
    }
    return "unknown";
}

std::string load_average() {
    std::array<double, 1> load{};
    if (getloadavg(load.data(), 1) != 1)
        return "unknown";
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.2f", load[0]));
    return text.data();
}

} // namespace

Notes environment() {
    utsname system = {};
    uname(&system);
    const auto words = [](const char *text) { return std::string(text); };
    return {
        {"system", words(system.sysname) + " " + words(system.release) + " on " + words(system.machine)},
        {"processor", processor_name() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " online"},
        {"load before", load_average()},
        {"compiler", __VERSION__},
#ifndef __OPTIMIZE__
        {"WARNING", "built without optimisation: these numbers say nothing"},
#endif
    };
}

} // namespace varnel::bench
