#include "base/image/ExrStreams.h"

#include <OpenEXR/Iex.h>

namespace Vespra {

ExrIStreamAdapter::ExrIStreamAdapter(Io::FileInputStream& file, const Io::Path& path)
    : Imf::IStream(path.nativeStr().toUtf8().c_str()), file(file) {}

bool ExrIStreamAdapter::read(char buffer[], int size) {
    const std::size_t count = file.read(buffer, std::size_t(size));
    if (!file.good()) {
        Iex::throwErrnoExc("%T.");
    }
    if (count < std::size_t(size)) {
        THROW(Iex::InputExc,
              "Early end of file: read " << count << " out of " << size << " requested bytes.");
    }
    return !file.eof();
}

std::uint64_t ExrIStreamAdapter::tellg() {
    return file.tell();
}

void ExrIStreamAdapter::seekg(std::uint64_t position) {
    if (!file.seek(position)) {
        Iex::throwErrnoExc("%T.");
    }
}

ExrOStreamAdapter::ExrOStreamAdapter(Io::FileOutputStream& file, const Io::Path& path)
    : Imf::OStream(path.nativeStr().toUtf8().c_str()), file(file) {}

void ExrOStreamAdapter::write(const char data[], int size) {
    if (!file.write(data, std::size_t(size))) {
        Iex::throwErrnoExc("%T.");
    }
}

std::uint64_t ExrOStreamAdapter::tellp() {
    return file.tell();
}

void ExrOStreamAdapter::seekp(std::uint64_t position) {
    if (!file.seek(position)) {
        Iex::throwErrnoExc("%T.");
    }
}

} // namespace Vespra
