// The text of one --property option of the batch tool, KEY=VALUE. A value it accepts must make
// post-processing parameters and save and read back through a .conf file unchanged; a value it
// refuses must come with a message.

#include "apps/cmd/CommandLineOptions.h"
#include "fuzz/FuzzSupport.h"
#include "imaging/PostProcessData.h"
#include "settings/Conf.h"

using namespace Vespra;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Expected<Cmd::PropertyAssignment, String> assignment =
        Cmd::parsePropertyAssignment(Fuzz::bytesOf(data, size));
    if (!assignment) {
        Fuzz::requireClearMessage(assignment.error());
        return 0;
    }
    Settings settings;
    settings.set(assignment->id, assignment->value);
    const PostProcessData post(SharedPtr<Abstract::Settings>(SharedPtr<Abstract::Settings>(), &settings));
    for (const float x : {-1.f, 0.f, 0.5f, 1.f, 4.f}) {
        (void)post.curves(Rgb(x, x, x, 1.f));
    }

    Io::TextOutputStream out = Io::TextOutputStream::toMemory();
    const std::int32_t ids[] = {assignment->id};
    Conf::save(settings, out, Conf::filterOf(ids));
    Io::TextInputStream in = Io::TextInputStream::fromBytes(out.memoryContents());
    Settings reread;
    try {
        Conf::parse(in, {}, reread);
    } catch (const Exception& error) {
        Fuzz::fail("the saved value does not read back:", error.getMessage());
    }
    Fuzz::require(
        reread.get(assignment->id) == assignment->value,
        "the value changed on its way through a file:", PropertyDescriptor::get(assignment->id)->name);
    return 0;
}
