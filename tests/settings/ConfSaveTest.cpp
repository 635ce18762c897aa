#include <string>

#include <gtest/gtest.h>

#include "settings/Conf.h"
#include "settings/PropertyCatalogue.h"
#include "settings/PropertyIds.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::PropertyId;
using TestFiles::listNames;
using TestFiles::readBytes;
using TestFiles::writeBytes;

namespace {

const std::string OLD_FILE = "Float colorMap.simpleExposure = 1.5\n";

String quoted(const Io::Path& path) {
    return u"\"" + path.nativeStr() + u"\"";
}

} // namespace

TEST(ConfSave, ReplacesTheWholeFile) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"look.conf");
    // Longer than what replaces it, so that a leftover tail would show.
    writeBytes(path, std::string(100000, '#'));
    Settings settings;
    settings.set(GLARE_STREAK_COUNT, 7);
    ASSERT_TRUE(Conf::save(settings, path, Conf::filterOf(PropertyCatalogue::lightMixIds())).has_value());

    Io::TextOutputStream expected = Io::TextOutputStream::toMemory();
    Conf::save(settings, expected, Conf::filterOf(PropertyCatalogue::lightMixIds()));
    EXPECT_EQ(readBytes(path), expected.memoryContents());
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"look.conf"});
}

TEST(ConfSave, AFailedSaveKeepsTheOldFile) {
    TemporaryFolder folder;
    const Io::Path path = folder.path() / Io::Path(u"look.conf");
    writeBytes(path, OLD_FILE);
    {
        // Every property takes far more than this.
        const FileSizeLimit limit(512);
        const Expected<bool, String> failed = Conf::save(Settings(), path);
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error(), u"Cannot write the file " + quoted(path) + u": File too large.");
    }
    EXPECT_EQ(readBytes(path), OLD_FILE);
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"look.conf"});
}

TEST(ConfSave, AFullDiskKeepsTheOldFile) {
    const SmallFileSystem disk(16 * 1024);
    if (!disk.mounted()) {
        GTEST_SKIP() << "No full disk to test with: " << disk.whyNot();
    }
    const Io::Path path = disk.path() / Io::Path(u"look.conf");
    writeBytes(path, OLD_FILE);
    // What is left after the old file, taken by another one.
    writeBytes(disk.path() / Io::Path(u"filler"), std::string(64 * 1024, 'x'));

    const Expected<bool, String> failed = Conf::save(Settings(), path);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), u"Cannot write the file " + quoted(path) + u": No space left on device.");
    EXPECT_EQ(readBytes(path), OLD_FILE);
    EXPECT_EQ(listNames(disk.path()), (std::vector<std::string>{"filler", "look.conf"}));
}

TEST(ConfSave, AMissingOrReadOnlyFolderIsNamed) {
    TemporaryFolder folder;
    const Io::Path missing = folder.path() / Io::Path(u"no such folder/look.conf");
    EXPECT_EQ(Conf::save(Settings(), missing).error(),
              u"Cannot write the file " + quoted(missing) + u": the folder " +
                  quoted(missing.parentDirectory()) + u" does not exist.");

    const Io::Path locked = folder.path() / Io::Path(u"locked");
    std::filesystem::create_directory(locked.std());
    const WriteProtection protection(locked);
    if (!protection.works()) {
        GTEST_SKIP() << "The folder stays writable for this user.";
    }
    const Io::Path path = locked / Io::Path(u"look.conf");
    EXPECT_EQ(Conf::save(Settings(), path).error(), u"Cannot write the file " + quoted(path) +
                                                        u": no permission to write in the folder " +
                                                        quoted(locked) + u".");
}
