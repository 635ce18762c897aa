#include <gtest/gtest.h>

#include "settings/Conf.h"
#include "settings/ValidatingSettings.h"

using namespace Vespra;

namespace {

std::int32_t idOf(const char16_t* key) {
    return PropertyDescriptor::find(key)->id;
}

/// Parses `text` as a .conf file into `settings` through the validating settings; answers the
/// message of the failure, empty when there was none.
String parseChecked(const std::string& text, Settings& settings) {
    ValidatingSettings checked(settings);
    Io::TextInputStream stream = Io::TextInputStream::fromBytes(text);
    try {
        Conf::parse(stream, {}, checked);
    } catch (const Exception& error) {
        return error.getMessage();
    }
    return {};
}

} // namespace

TEST(ValidatingSettings, AValueOfAnotherTypeFailsItsLineAndChangesNothing) {
    // Found by fuzzing: the line stored an integer as the contrast, and the batch tool ended
    // when the colour mapping read the contrast as a float.
    Settings settings;
    EXPECT_EQ(parseChecked("Float colorMap.contrast = 1.5\nInt colorMap.contrast = 2\n", settings),
              u"Error in.conf file 'Io::TextInputStream' (line 2) : Value has wrong type.\n Whole line : "
              u"Int colorMap.contrast = 2");
    EXPECT_EQ(settings.get(idOf(u"colorMap.contrast")), Property(1.5f));
}

TEST(ValidatingSettings, ANumberOutOfRangeFailsItsLine) {
    Settings settings;
    EXPECT_EQ(
        parseChecked("Int bloomGlare.streakCount = 9\n", settings),
        u"Error in.conf file 'Io::TextInputStream' (line 1) : Value is expected to be between 1 and 8.\n "
        u"Whole line : Int bloomGlare.streakCount = 9");
    EXPECT_FALSE(settings.isSet(idOf(u"bloomGlare.streakCount")));
}

TEST(ValidatingSettings, ValidValuesReachTheSettingsBehind) {
    Settings settings;
    EXPECT_EQ(
        parseChecked("Int bloomGlare.streakCount = 8\nfloatarray colorMap.lightmixIntensities = 1.0, 2.0\n",
                     settings),
        String());
    EXPECT_EQ(settings.get(idOf(u"bloomGlare.streakCount")), Property(std::int32_t(8)));
    const float intensities[] = {1.f, 2.f};
    EXPECT_EQ(settings.get(idOf(u"colorMap.lightmixIntensities")),
              Property(ArrayView<const float>(intensities)));
}
