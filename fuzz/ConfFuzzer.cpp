// A .conf file: the bytes are the whole file. It is read as the batch tool reads a --conf file
// (stopping at the first bad line, through the validating settings) and as the editor reads
// one line after another (going on after bad lines). The values read must make post-processing
// parameters, save and read back to the same values, and every failure must be a message.

#include "fuzz/FuzzSupport.h"
#include "imaging/PostProcessData.h"
#include "settings/Conf.h"
#include "settings/ValidatingSettings.h"

using namespace Vespra;

namespace {

class MessageChecker final : public Abstract::Logger {
public:
    void log(const String& message, LogLevel) override { Fuzz::requireClearMessage(message); }
};

/// The settings that `settings` holds, saved and read back, are the same.
void requireRoundTrip(const Settings& settings) {
    const PropertyFilter isSet = [&](std::int32_t id) { return settings.isSet(id); };
    Io::TextOutputStream out = Io::TextOutputStream::toMemory();
    Conf::save(settings, out, isSet);
    Io::TextInputStream in = Io::TextInputStream::fromBytes(out.memoryContents());
    Settings reread;
    try {
        Conf::parse(in, {}, reread);
    } catch (const Exception& error) {
        Fuzz::fail("saved settings do not read back:", error.getMessage());
    }
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& row) {
        Fuzz::require(settings.get(row.id) == reread.get(row.id),
                      "value changed on its way through a file:", row.name);
    });
}

/// Reads the parameters of post-processing, as every picture does, and evaluates the curves.
void usePostProcessing(Settings& settings) {
    const PostProcessData data(SharedPtr<Abstract::Settings>(SharedPtr<Abstract::Settings>(), &settings));
    for (const float x : {-1.f, 0.f, 0.25f, 0.5f, 1.f, 2.f}) {
        (void)data.curves(Rgb(x, x, x, 1.f));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = Fuzz::bytesOf(data, size);

    Settings checked;
    {
        ValidatingSettings validating(checked);
        Io::TextInputStream stream = Io::TextInputStream::fromBytes(bytes);
        try {
            Conf::parse(stream, {}, validating);
        } catch (const Exception& error) {
            Fuzz::requireClearMessage(error.getMessage());
            Fuzz::require(error.getMessage().startsWith(u"Error in.conf file 'Io::TextInputStream' (line "),
                          "a failure that names no line:", error.getMessage());
        }
    }
    usePostProcessing(checked);
    requireRoundTrip(checked);

    Settings lenient;
    MessageChecker logger;
    Io::TextInputStream stream = Io::TextInputStream::fromBytes(bytes);
    Conf::parse(stream, ConfParserFlag::CONTINUE_ON_ERROR, lenient, &logger);
    requireRoundTrip(lenient);
    return 0;
}
