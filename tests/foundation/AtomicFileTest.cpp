#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "foundation/Exception.h"
#include "foundation/io/AtomicFile.h"
#include "foundation/io/Streams.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Io;
using TestFiles::listNames;
using TestFiles::readBytes;
using TestFiles::writeBytes;

namespace {

const std::string OLD_CONTENTS = "the render the user wants to keep\n";

/// `count` bytes that differ from the old contents everywhere.
std::string newContents(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = char('A' + i % 26);
    }
    return bytes;
}

/// A writer that writes `bytes` and reports the system's reason when that fails.
FileWriter writing(std::string bytes) {
    return [bytes = std::move(bytes)](const Path& temporary) -> Expected<void> {
        FileOutputStream file(temporary);
        if (!file.write(bytes.data(), bytes.size()) || !file.close()) {
            return makeUnexpected(systemErrorText(errno));
        }
        return {};
    };
}

String quoted(const Path& path) {
    return u"\"" + path.nativeStr() + u"\"";
}

mode_t modeOf(const Path& path) {
    struct stat info {};
    ::stat(path.std().c_str(), &info);
    return info.st_mode & 07777;
}

} // namespace

TEST(AtomicFile, TheWriterFillsAnEmptyHiddenFileBesideTheTargetThatThenReplacesIt) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"render.vxr";
    writeBytes(target, OLD_CONTENTS);

    Path seen;
    const auto written = writeFileAtomically(target, [&](const Path& temporary) -> Expected<void> {
        seen = temporary;
        EXPECT_EQ(temporary.parentDirectory(), folder.path());
        EXPECT_TRUE(temporary.fileName().startsWith(u".render.vxr.")) << temporary.fileName();
        EXPECT_TRUE(temporary.fileName().endsWith(u".tmp")) << temporary.fileName();
        EXPECT_EQ(readBytes(temporary), "");
        // Until the rename, the target is the old file.
        EXPECT_EQ(readBytes(target), OLD_CONTENTS);
        return writing(newContents(5000))(temporary);
    });
    ASSERT_TRUE(written) << written.error().message;
    EXPECT_FALSE(seen.isEmpty());
    EXPECT_EQ(readBytes(target), newContents(5000));
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});

    // A relative name goes to the current folder like any other.
    const std::filesystem::path current = std::filesystem::current_path();
    std::filesystem::current_path(folder.path().std());
    const auto relative = writeFileAtomically(Path(u"relative.conf"), writing("x"));
    std::filesystem::current_path(current);
    ASSERT_TRUE(relative) << relative.error().message;
    EXPECT_EQ(readBytes(folder.path() / u"relative.conf"), "x");
}

TEST(AtomicFile, AWriterFailingHalfWayLeavesTheOldFileAndNoTemporaryFile) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"render.vxr";
    writeBytes(target, OLD_CONTENTS);

    const auto failed = writeFileAtomically(target, [](const Path& temporary) -> Expected<void> {
        FileOutputStream file(temporary);
        const std::string part = newContents(100000);
        EXPECT_TRUE(file.write(part.data(), part.size()));
        EXPECT_TRUE(file.close());
        return makeUnexpected(u"the renderer went away.");
    });
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().reason, String(u"the renderer went away"));
    EXPECT_EQ(failed.error().message,
              u"Cannot write the file " + quoted(target) + u": the renderer went away.");
    EXPECT_EQ(failed.error().code, 0);
    EXPECT_EQ(readBytes(target), OLD_CONTENTS);
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});

    // Where there was no file, there is none afterwards.
    const Path fresh = folder.path() / u"fresh.vxr";
    EXPECT_FALSE(
        writeFileAtomically(fresh, [](const Path&) -> Expected<void> { return makeUnexpected(u"no"); }));
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});
}

TEST(AtomicFile, AWriterThrowingLeavesTheOldFileAndNoTemporaryFile) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"settings.conf";
    writeBytes(target, OLD_CONTENTS);

    EXPECT_THROW(writeFileAtomically(target,
                                     [](const Path& temporary) -> Expected<void> {
                                         (void)writing(newContents(3000))(temporary);
                                         throw Exception(u"out of memory");
                                     }),
                 Exception);
    EXPECT_EQ(readBytes(target), OLD_CONTENTS);
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"settings.conf"});
}

TEST(AtomicFile, AFileGrowingPastTheLimitLeavesTheOldFile) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"render.vxr";
    writeBytes(target, OLD_CONTENTS);
    {
        const FileSizeLimit limit(4096);
        const auto failed = writeFileAtomically(target, writing(newContents(100000)));
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error().reason, String(u"File too large"));
    }
    EXPECT_EQ(readBytes(target), OLD_CONTENTS);
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});
}

TEST(AtomicFile, AFullDiskLeavesTheOldFileAndSaysSo) {
    const SmallFileSystem disk(64 * 1024);
    if (!disk.mounted()) {
        GTEST_SKIP() << "No full disk to test with: " << disk.whyNot();
    }
    const Path target = disk.path() / u"render.vxr";
    writeBytes(target, OLD_CONTENTS);

    const auto failed = writeFileAtomically(target, writing(newContents(1 << 20)));
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().reason, String(u"No space left on device"));
    EXPECT_EQ(failed.error().message,
              u"Cannot write the file " + quoted(target) + u": No space left on device.");
    EXPECT_EQ(readBytes(target), OLD_CONTENTS);
    EXPECT_EQ(listNames(disk.path()), std::vector<std::string>{"render.vxr"});

    // The space of the failed attempt is free again.
    const auto fits = writeFileAtomically(target, writing(newContents(40 * 1024)));
    ASSERT_TRUE(fits) << fits.error().message;
    EXPECT_EQ(readBytes(target), newContents(40 * 1024));
}

TEST(AtomicFile, AMissingFolderIsNamedAndTheWriterNotCalled) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"no such folder" / u"render.vxr";
    bool called = false;
    const auto failed = writeFileAtomically(target, [&](const Path&) -> Expected<void> {
        called = true;
        return {};
    });
    ASSERT_FALSE(failed);
    EXPECT_FALSE(called);
    EXPECT_EQ(failed.error().code, ENOENT);
    EXPECT_EQ(failed.error().message, u"Cannot write the file " + quoted(target) + u": the folder " +
                                          quoted(target.parentDirectory()) + u" does not exist.");

    // A file where a folder should be is no folder either.
    writeBytes(folder.path() / u"file", "x");
    const Path underFile = folder.path() / u"file" / u"render.vxr";
    EXPECT_EQ(writeFileAtomically(underFile, writing("y")).error().reason,
              u"the folder " + quoted(underFile.parentDirectory()) + u" does not exist");
}

TEST(AtomicFile, AReadOnlyFolderOrFileIsRefusedAndKept) {
    TemporaryFolder folder;
    const Path locked = folder.path() / u"locked";
    std::filesystem::create_directory(locked.std());
    const Path kept = locked / u"render.vxr";
    writeBytes(kept, OLD_CONTENTS);
    {
        const WriteProtection protection(locked);
        if (!protection.works()) {
            GTEST_SKIP() << "The folder stays writable for this user.";
        }
        const Path fresh = locked / u"new.vxr";
        const auto refused = writeFileAtomically(fresh, writing("x"));
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().message, u"Cannot write the file " + quoted(fresh) +
                                               u": no permission to write in the folder " + quoted(locked) +
                                               u".");
        EXPECT_TRUE(refused.error().code == EACCES || refused.error().code == EPERM) << refused.error().code;

        const auto keeping = writeFileAtomically(kept, writing(newContents(100)));
        ASSERT_FALSE(keeping);
        EXPECT_TRUE(keeping.error().message.startsWith(u"Cannot write the file " + quoted(kept) + u": "));
        EXPECT_EQ(readBytes(kept), OLD_CONTENTS);
    }
    EXPECT_EQ(listNames(locked), std::vector<std::string>{"render.vxr"});

    // A file its user may not write stays, as opening it for writing would have refused it.
    const Path readOnly = folder.path() / u"read-only.conf";
    writeBytes(readOnly, OLD_CONTENTS);
    {
        const WriteProtection protection(readOnly);
        if (!protection.works()) {
            GTEST_SKIP() << "The file stays writable for this user.";
        }
        const auto refused = writeFileAtomically(readOnly, writing("x"));
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().message,
                  u"Cannot write the file " + quoted(readOnly) + u": Permission denied.");
    }
    EXPECT_EQ(readBytes(readOnly), OLD_CONTENTS);
}

TEST(AtomicFile, TheNewFileKeepsTheOldPermissionsAndLinksStayLinks) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"render.vxr";
    writeBytes(target, OLD_CONTENTS);
    ::chmod(target.std().c_str(), 0640);
    ASSERT_TRUE(writeFileAtomically(target, writing("new")));
    EXPECT_EQ(modeOf(target), mode_t(0640));

    // A new file gets what the creation mask leaves of read and write for everyone.
    const mode_t mask = ::umask(027);
    const auto created = writeFileAtomically(folder.path() / u"fresh.vxr", writing("new"));
    ::umask(mask);
    ASSERT_TRUE(created);
    EXPECT_EQ(modeOf(folder.path() / u"fresh.vxr"), mode_t(0640));

    const Path link = folder.path() / u"latest.vxr";
    std::filesystem::create_symlink("render.vxr", link.std());
    ASSERT_TRUE(writeFileAtomically(link, writing("through the link")));
    EXPECT_TRUE(std::filesystem::is_symlink(link.std()));
    EXPECT_EQ(readBytes(target), "through the link");
    EXPECT_EQ(listNames(folder.path()), (std::vector<std::string>{"fresh.vxr", "latest.vxr", "render.vxr"}));
}

TEST(AtomicFile, AReaderThatHasTheFileOpenGoesOnReadingTheOldContents) {
    TemporaryFolder folder;
    const Path target = folder.path() / u"render.vxr";
    const std::string old = newContents(70000);
    writeBytes(target, old);

    FileInputStream reader(target);
    ASSERT_TRUE(reader.isOpen());
    std::string firstHalf(35000, '\0');
    ASSERT_EQ(reader.read(firstHalf.data(), firstHalf.size()), firstHalf.size());

    ASSERT_TRUE(writeFileAtomically(target, writing(OLD_CONTENTS)));
    std::string secondHalf(35000, '\0');
    ASSERT_EQ(reader.read(secondHalf.data(), secondHalf.size()), secondHalf.size());
    EXPECT_EQ(firstHalf + secondHalf, old);
    EXPECT_EQ(readBytes(target), OLD_CONTENTS);
}

TEST(AtomicFile, AVeryLongNameStillFindsRoomForItsTemporaryFile) {
    TemporaryFolder folder;
    // 253 bytes of UTF-8 with ".vxr", close to the limit of 255 for a name.
    String name;
    for (int i = 0; i < 83; ++i) {
        name += u"\u5149";
    }
    const Path target = folder.path() / (name + u".vxr");
    ASSERT_EQ(target.fileName().toUtf8().size(), 253u);
    writeBytes(target, OLD_CONTENTS);
    const auto written = writeFileAtomically(target, writing("new"));
    ASSERT_TRUE(written) << written.error().message;
    EXPECT_EQ(readBytes(target), "new");
    EXPECT_EQ(listNames(folder.path()).size(), 1u);
}
