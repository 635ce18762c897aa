#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "foundation/io/Path.h"

/// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vespra-test-XXXXXX").native();
        folder = Vespra::Io::Path(std::filesystem::path(mkdtemp(pattern.data())));
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(folder.std(), error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const Vespra::Io::Path& path() const { return folder; }

private:
    Vespra::Io::Path folder;
};
