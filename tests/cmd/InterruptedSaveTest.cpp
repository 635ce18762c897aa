#include <chrono>
#include <csignal>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/cmd/BatchJob.h"
#include "tests/cmd/BatchToolRunner.h"
#include "apps/samplegen/SampleRenderer.h"
#include "base/image/ExrLoader.h"
#include "base/image/ExrSaver.h"
#include "tests/foundation/FileSystemFaults.h"
#include "tests/foundation/TemporaryFolder.h"

extern char** environ;

using namespace Vespra;
using namespace Vespra::Cmd::Testing;
using TestFiles::listNames;
using TestFiles::readBytes;

namespace {

/// How long the tool may take to load its input and start writing.
constexpr auto START_LIMIT = std::chrono::seconds(120);

Io::Path writeRender(const Io::Path& path, int width, int height, std::uint64_t seed) {
    const ChannelImage image = SampleGen::renderSampleImage(SampleGen::wholeFrameJob(width, height, 1, seed));
    EXPECT_TRUE(ExrSaver(true).save(image, path).has_value());
    return path;
}

Optional<ChannelImage> load(const Io::Path& path) {
    Expected<ChannelImage, String> loaded = ExrLoader(true).load(path);
    if (!loaded) {
        return {};
    }
    return std::move(*loaded);
}

Stack<String> channelNames(const ChannelImage& image) {
    Stack<String> names;
    for (const auto& [name, channel] : image.channels) {
        names.push(name);
    }
    return names;
}

/// Starts the tool as a process of its own, its output thrown away; answers its id, or -1.
pid_t spawnTool(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    std::string program = VESPRA_IMAGE_CMD;
    argv.push_back(program.data());
    std::vector<std::string> copies = arguments;
    for (std::string& argument : copies) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const int failed = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return failed ? -1 : pid;
}

/// Watches a folder for files being written to.
class WriteWatch {
public:
    explicit WriteWatch(const Io::Path& folder) : descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        if (descriptor >= 0) {
            inotify_add_watch(descriptor, folder.std().c_str(), IN_MODIFY);
        }
    }
    ~WriteWatch() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    WriteWatch(const WriteWatch&) = delete;
    WriteWatch& operator=(const WriteWatch&) = delete;

    bool works() const { return descriptor >= 0; }

    /// Waits until some file of the folder is written to, and answers its name; empty when
    /// `process` ended first or nothing was written before `limit`.
    std::string waitForWriting(pid_t process, std::chrono::steady_clock::duration limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd events{descriptor, POLLIN, 0};
            // Wakes now and then to see whether the process has ended.
            if (poll(&events, 1, 100) > 0) {
                alignas(inotify_event) char buffer[4096];
                const ssize_t size = read(descriptor, buffer, sizeof(buffer));
                if (size >= ssize_t(sizeof(inotify_event))) {
                    const auto* event = reinterpret_cast<const inotify_event*>(buffer);
                    return event->len > 0 ? std::string(event->name) : std::string("?");
                }
            }
            int status = 0;
            if (waitpid(process, &status, WNOHANG) == process) {
                ended = true;
                return {};
            }
        }
        return {};
    }

    bool processEnded() const { return ended; }

private:
    int descriptor;
    bool ended = false;
};

} // namespace

TEST(InterruptedSave, AToolKilledWhileSavingLeavesTheOldFileOrTheWholeNewOne) {
    TemporaryFolder folder;
    // About 24 MB to write: the save takes long enough to be caught in the middle.
    const Io::Path input = writeRender(folder.path() / Io::Path(u"render.vxr"), 512, 384, 5);
    const Io::Path target = writeRender(folder.path() / Io::Path(u"existing.vxr"), 40, 28, 6);
    const std::string old = readBytes(target);

    WriteWatch watch(folder.path());
    ASSERT_TRUE(watch.works()) << std::strerror(errno);
    const pid_t tool =
        spawnTool({"-q", input.nativeStr().toUtf8(), "-e", "*", "-o", target.nativeStr().toUtf8()});
    ASSERT_GT(tool, 0) << "Cannot start " << VESPRA_IMAGE_CMD;

    const std::string written = watch.waitForWriting(tool, START_LIMIT);
    ASSERT_FALSE(watch.processEnded()) << "The tool ended before it wrote anything.";
    kill(tool, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(tool, &status, 0), tool);
    ASSERT_FALSE(written.empty()) << "The tool wrote nothing within the time limit.";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

    // Killed as it started writing: the file it wrote was a temporary one beside the target.
    EXPECT_NE(written, "existing.vxr");
    EXPECT_TRUE(written.starts_with(".existing.vxr.") && written.ends_with(".tmp")) << written;
    if (readBytes(target) != old) {
        // Only a complete new file may have taken the old one's place.
        const Optional<ChannelImage> replaced = load(target);
        ASSERT_TRUE(replaced.has_value()) << "The target is broken.";
        const Optional<ChannelImage> source = load(input);
        ASSERT_TRUE(source.has_value());
        EXPECT_EQ(replaced->getDataWindow(), source->getDataWindow());
    }
    // The killed save leaves at most its temporary file behind.
    for (const std::string& name : listNames(folder.path())) {
        const bool temporary = name.starts_with(".existing.vxr.") && name.ends_with(".tmp");
        EXPECT_TRUE(name == "render.vxr" || name == "existing.vxr" || temporary) << name;
    }
}

TEST(InterruptedSave, TheToolSavesOverTheFileItLoaded) {
    TemporaryFolder folder;
    const Io::Path path = writeRender(folder.path() / Io::Path(u"render.vxr"), 40, 28, 7);
    const Optional<ChannelImage> before = load(path);
    ASSERT_TRUE(before.has_value());

    ASSERT_EQ(runBatchTool({path.nativeStr().toUtf8(), "-e", "*", "-p", "colorMap.simpleExposure=1", "-o",
                       path.nativeStr().toUtf8()}),
              Cmd::EXIT_OK);
    const Optional<ChannelImage> after = load(path);
    ASSERT_TRUE(after.has_value());
    EXPECT_EQ(channelNames(*after), channelNames(*before));
    EXPECT_EQ(after->getDataWindow(), before->getDataWindow());
    EXPECT_EQ(listNames(folder.path()), std::vector<std::string>{"render.vxr"});
}
