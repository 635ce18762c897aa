#pragma once

#include <cstdint>

#include <OpenEXR/ImfIO.h>

#include "foundation/io/Streams.h"

namespace Vespra {

/// Lets OpenEXR read through the library's file streams, which open any path, instead of
/// opening the file itself. Failures are thrown as OpenEXR's own exceptions.
class ExrIStreamAdapter final : public Imf::IStream {
public:
    /// `file` must stay open as long as the adapter is used.
    ExrIStreamAdapter(Io::FileInputStream& file, const Io::Path& path);

    bool read(char buffer[], int size) override;
    std::uint64_t tellg() override;
    void seekg(std::uint64_t position) override;

private:
    Io::FileInputStream& file;
};

/// Lets OpenEXR write through the library's file streams.
class ExrOStreamAdapter final : public Imf::OStream {
public:
    ExrOStreamAdapter(Io::FileOutputStream& file, const Io::Path& path);

    void write(const char data[], int size) override;
    std::uint64_t tellp() override;
    void seekp(std::uint64_t position) override;

private:
    Io::FileOutputStream& file;
};

} // namespace Vespra
