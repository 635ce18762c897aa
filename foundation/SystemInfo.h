#pragma once

#include <cstdint>

#include "foundation/String.h"

namespace Vespra::Utils {

/// Bytes of installed memory.
std::int64_t getPhysicalMemorySize();
/// Bytes of address space this process has mapped; 0 when unknown.
std::int64_t getProcessUsedVirtualMemory();
/// The distribution when known, then the kernel: "Debian GNU/Linux 12 (bookworm), Linux 6.1.0 x86_64".
String getOsInfoString();
/// The processor's model name and the number of hardware threads.
String getCpuInfo();
int getThisProcessPid();
/// The version of this library.
String getLibVersion();

} // namespace Vespra::Utils
