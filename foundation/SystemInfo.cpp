#include "foundation/SystemInfo.h"

#include <fstream>
#include <string>
#include <sys/utsname.h>
#include <thread>
#include <unistd.h>

#include "foundation/Optional.h"
#include "foundation/Str.h"

namespace Vespra::Utils {

namespace {

/// Kept equal to the version in the top CMakeLists.txt.
constexpr const char* LIBRARY_VERSION = "0.1.0";

/// The value of the first line "<key><separator>value" of a text file, trimmed and unquoted.
Optional<String> findValue(const char* file, const std::string& key, char separator) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t split = line.find(separator);
        if (split != std::string::npos &&
            String::fromUtf8(line.substr(0, split)).trim() == String::fromUtf8(key)) {
            String value = String::fromUtf8(line.substr(split + 1)).trim();
            value.replaceAll(u"\"", u"");
            return value;
        }
    }
    return {};
}

} // namespace

std::int64_t getPhysicalMemorySize() {
    return std::int64_t(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
}

std::int64_t getProcessUsedVirtualMemory() {
    std::ifstream statm("/proc/self/statm");
    std::int64_t pages = 0;
    statm >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

String getOsInfoString() {
    utsname system{};
    uname(&system);
    const String kernel = Str::getFormatted("{} {} {}", system.sysname, system.release, system.machine);
    const Optional<String> distribution = findValue("/etc/os-release", "PRETTY_NAME", '=');
    return distribution ? *distribution + u", " + kernel : kernel;
}

String getCpuInfo() {
    const String model = findValue("/proc/cpuinfo", "model name", ':').value_or(u"Unknown processor");
    return Str::getFormatted("{} ({} threads)", model, std::thread::hardware_concurrency());
}

int getThisProcessPid() {
    return int(getpid());
}

String getLibVersion() {
    return String::fromAscii(LIBRARY_VERSION);
}

} // namespace Vespra::Utils
