#include <fstream>

#include <gtest/gtest.h>

#include "foundation/io/Files.h"
#include "foundation/io/StandardPaths.h"
#include "foundation/io/Streams.h"
#include "tests/foundation/TemporaryFolder.h"

using namespace Vespra;
using namespace Vespra::Io;

namespace {

void writeBytes(const Path& path, const std::string& bytes) {
    std::ofstream(path.std(), std::ios::binary) << bytes;
}

std::string readBytes(const Path& path) {
    std::ifstream stream(path.std(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

} // namespace

TEST(Path, ComponentsJoiningAndSuffixes) {
    const Path path(u"/renders/shot 1/beauty.final.EXR");
    EXPECT_EQ(path.fileName(), String(u"beauty.final.EXR"));
    EXPECT_EQ(path.fileName(PathFlag::WITHOUT_EXTENSION), String(u"beauty.final"));
    EXPECT_EQ(path.extension(), String(u"EXR"));
    EXPECT_EQ(path.parentDirectory(), Path(u"/renders/shot 1"));
    EXPECT_EQ(path + u"_2", Path(u"/renders/shot 1/beauty.final.EXR_2"));
    EXPECT_EQ(Path(u"/renders") / u"shot 1" / u"beauty.final.EXR", path);
    EXPECT_EQ(Path(u"a//b"), Path(u"a/b"));
    EXPECT_EQ(Path(u"a") / u"/abs", Path(u"/abs"));

    const Stack<String> parts = path.split(PathFlag::WITHOUT_EXTENSION);
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[0], String(u"/"));
    EXPECT_EQ(parts[2], String(u"shot 1"));
    EXPECT_EQ(parts[3], String(u"beauty.final"));

    EXPECT_EQ(Path(u".hidden").extension(), String());
    EXPECT_EQ(Path(u"dir/").fileName(), String());
    EXPECT_TRUE(Path().isEmpty());
    EXPECT_EQ(Path(u"a/b").genericStr(), String(u"a/b"));
    EXPECT_EQ(fmt::format("<{}>", Path(u"\u00FAdaje/x")), "<\xC3\xBA"
                                                          "daje/x>");
    EXPECT_EQ(changeExtension(Path(u"a/b.exr"), u"png"), Path(u"a/b.png"));
    EXPECT_EQ(changeExtension(Path(u"a/b.exr"), String()), Path(u"a/b"));
}

TEST(Files, NonAsciiNamesReachTheDiskAsUtf8) {
    TemporaryFolder folder;
    const Path file = folder.path() / u"sv\u011Btlo \u5149.txt";
    writeBytes(file, "x");
    EXPECT_TRUE(std::filesystem::exists(folder.path().std() / "sv\xC4\x9Btlo \xE5\x85\x89.txt"));
    EXPECT_TRUE(fileExists(file));
    const Stack<Path> files = getFiles(folder.path());
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fileName(), String(u"sv\u011Btlo \u5149.txt"));
}

TEST(Files, ExistenceListingCopyMoveRemove) {
    TemporaryFolder folder;
    const Path& root = folder.path();
    ASSERT_TRUE(createDirs(root / u"b/deep"));
    ASSERT_TRUE(createDirs(root / u"a"));
    writeBytes(root / u"z.txt", "zz");
    writeBytes(root / u"empty.txt", "");
    writeBytes(root / u"b/deep/inner.txt", "in");

    EXPECT_TRUE(fileExists(root / u"z.txt"));
    EXPECT_FALSE(fileExists(root / u"b"));
    EXPECT_TRUE(dirExists(root / u"b"));
    EXPECT_FALSE(dirExists(root / u"z.txt"));
    EXPECT_TRUE(fileIsEmptyOrNonExistent(root / u"empty.txt"));
    EXPECT_TRUE(fileIsEmptyOrNonExistent(root / u"missing.txt"));
    EXPECT_FALSE(fileIsEmptyOrNonExistent(root / u"z.txt"));

    EXPECT_EQ(getFiles(root), (Stack<Path>{root / u"empty.txt", root / u"z.txt"}));
    EXPECT_EQ(getFiles(root, ListFlag::RECURSIVE),
              (Stack<Path>{root / u"b/deep/inner.txt", root / u"empty.txt", root / u"z.txt"}));
    EXPECT_EQ(getDirs(root), (Stack<Path>{root / u"a", root / u"b"}));
    EXPECT_EQ(getDirs(root, ListFlag::RECURSIVE), (Stack<Path>{root / u"a", root / u"b", root / u"b/deep"}));
    EXPECT_TRUE(getFiles(root / u"missing").empty());

    ASSERT_TRUE(copyFile(root / u"z.txt", root / u"a/copy.txt"));
    EXPECT_EQ(readBytes(root / u"a/copy.txt"), "zz");
    ASSERT_TRUE(moveFile(root / u"a/copy.txt", root / u"moved.txt"));
    EXPECT_FALSE(fileExists(root / u"a/copy.txt"));
    EXPECT_EQ(readBytes(root / u"moved.txt"), "zz");
    ASSERT_TRUE(removeFile(root / u"moved.txt"));
    EXPECT_FALSE(fileExists(root / u"moved.txt"));
    EXPECT_TRUE(removeFile(root / u"moved.txt"));

    const Expected<void> failed = copyFile(root / u"missing.txt", root / u"x.txt");
    ASSERT_FALSE(failed);
    EXPECT_TRUE(failed.error().contains(u"missing.txt"));
}

TEST(Files, IdsFollowTheFileNotTheName) {
    TemporaryFolder folder;
    const Path original = folder.path() / u"original";
    const Path other = folder.path() / u"other";
    writeBytes(original, "1");
    writeBytes(other, "1");
    std::filesystem::create_hard_link(original.std(), (folder.path() / u"hard").std());
    std::filesystem::create_symlink(original.std(), (folder.path() / u"soft").std());

    const Optional<std::uint64_t> id = fileId(original);
    ASSERT_TRUE(id);
    EXPECT_EQ(*fileId(folder.path() / u"hard"), *id);
    EXPECT_EQ(*fileId(folder.path() / u"soft"), *id);
    EXPECT_NE(*fileId(other), *id);
    EXPECT_FALSE(fileId(folder.path() / u"missing"));

    const Optional<std::int64_t> stamp = getFileTimeStamp(original);
    ASSERT_TRUE(stamp);
    const auto written = std::filesystem::last_write_time(original.std());
    const auto sinceEpoch = std::chrono::file_clock::to_sys(written).time_since_epoch();
    EXPECT_EQ(*stamp, std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count());
    EXPECT_FALSE(getFileTimeStamp(folder.path() / u"missing"));
}

TEST(Files, RandomNamedFilesAreNewAndDistinct) {
    TemporaryFolder folder;
    const Expected<Path> first = createRandomNamedFile(folder.path(), u"cache-", u"exr");
    const Expected<Path> second = createRandomNamedFile(folder.path(), u"cache-", u"exr");
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_TRUE(fileExists(*first));
    EXPECT_TRUE(first->fileName().startsWith(u"cache-"));
    EXPECT_EQ(first->extension(), String(u"exr"));
    EXPECT_EQ(first->fileName().length(), 16);
    EXPECT_EQ(first->parentDirectory(), folder.path());
    EXPECT_FALSE(createRandomNamedFile(folder.path() / u"missing", u"x", u"y"));
}

TEST(StandardPaths, DataDirectoryFollowsTheEnvironment) {
    TemporaryFolder folder;
    ASSERT_TRUE(createDirs(folder.path() / u"luts"));
    setenv("VESPRA_DATA_DIR", folder.path().std().c_str(), 1);
    EXPECT_EQ(StandardPaths::dataDirectory(), folder.path());
    EXPECT_EQ(StandardPaths::lutBundle(), folder.path() / u"luts");
    const Expected<Path> optix = StandardPaths::optixData();
    ASSERT_FALSE(optix);
    EXPECT_TRUE(optix.error().contains(u"optix"));
    unsetenv("VESPRA_DATA_DIR");

    EXPECT_TRUE(StandardPaths::temporary());

    // Tests run from the repository root; a test program built below it finds its resources.
    const Path root(std::filesystem::current_path());
    const Expected<Path> executable = Utils::getExecutableFilePath();
    ASSERT_TRUE(executable);
    if (dirExists(root / u"resources") && executable->nativeStr().startsWith(root.nativeStr() + u"/")) {
        const Expected<Path> fromBuildTree = StandardPaths::dataDirectory();
        ASSERT_TRUE(fromBuildTree) << fromBuildTree.error();
        EXPECT_EQ(*fileId(*fromBuildTree), *fileId(root / u"resources"));
    }
}

TEST(Streams, FileAndMemoryStreams) {
    TemporaryFolder folder;
    const Path path = folder.path() / u"bytes.bin";
    {
        FileOutputStream output(path);
        ASSERT_TRUE(output.isOpen());
        ForwardingOutputStream forwarding(output);
        EXPECT_TRUE(forwarding.write("abc", 3));
        EXPECT_TRUE(output.close());
    }
    {
        FileOutputStream output(path, OutputFlag::APPEND);
        EXPECT_TRUE(output.write("de", 2));
    }
    FileInputStream input(path);
    ASSERT_TRUE(input.isOpen());
    char buffer[8] = {};
    EXPECT_EQ(input.read(buffer, sizeof(buffer)), 5u);
    EXPECT_EQ(std::string(buffer, 5), "abcde");
    EXPECT_TRUE(input.eof());
    EXPECT_TRUE(input.good());
    EXPECT_FALSE(FileInputStream(folder.path() / u"missing").isOpen());

    MemoryInputStream memory("xyz");
    ForwardingInputStream forwarding(memory);
    EXPECT_EQ(forwarding.read(buffer, 2), 2u);
    EXPECT_FALSE(forwarding.eof());
    EXPECT_EQ(forwarding.read(buffer, 2), 1u);
    EXPECT_EQ(buffer[0], 'z');
    EXPECT_TRUE(forwarding.eof());
}
