// A .3dl look-up table file: the bytes are the whole file. A table it accepts is prepared as
// the colour mapping prepares it (gamma, inverses) and applied forwards and backwards.

#include "fuzz/LutUse.h"
#include "imaging/LutReader.h"

using namespace Vespra;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Io::MemoryInputStream stream(Fuzz::bytesOf(data, size));
    Lut lut;
    Fuzz::useTable(Detail::read3dl(stream, lut), lut);
    return 0;
}
