#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "settings/PropertyCatalogue.h"
#include "settings/PropertyDescriptor.h"
#include "settings/PropertyIds.h"

using namespace Vespra;

namespace {

struct ExpectedRow {
    std::int32_t id;
    const char16_t* key;
    const char16_t* type;
    const char* defaultValue;
    const char* minValue;
    const char* maxValue;
};

// The editor's properties as they are documented for users.
const ExpectedRow EXPECTED_ROWS[] = {
    {996, u"denoise.filterType", u"Int", "0", "by enumeration", "by enumeration"},
    {997, u"denoise.sensitivity", u"Float", "1.0", "0.1", "10.0"},
    {993, u"denoise.blendAmount", u"Float", "0.65", "0.0", "1.0"},
    {381, u"colorMap.lightmixEnabledLayers", u"BoolArray", "empty", "", ""},
    {363, u"colorMap.lightmixIntensities", u"FloatArray", "empty", "", ""},
    {362, u"colorMap.lightmixColors", u"Vec3Array", "empty", "", ""},
    {368, u"bloomGlare.enabled", u"Bool", "false", "", ""},
    {353, u"bloomGlare.bloomIntensity", u"Float", "1.0", "0.0", "100000.0"},
    {354, u"bloomGlare.glareIntensity", u"Float", "1.0", "0.0", "100000.0"},
    {355, u"bloomGlare.streakCount", u"Int", "3", "1", "8"},
    {356, u"bloomGlare.rotation", u"Float", "15.0", "-1e10", "1e10"},
    {357, u"bloomGlare.streakBlur", u"Float", "0.2", "0.0", "1.0"},
    {358, u"bloomGlare.colorIntensity", u"Float", "0.3", "0.0", "1.0"},
    {359, u"bloomGlare.colorShift", u"Float", "0.5", "0.0", "1.0"},
    {360, u"bloomGlare.threshold", u"Float", "1.0", "0.0", "100000.0"},
    {331, u"colorMap.enabled", u"Bool", "true", "", ""},
    {332, u"colorMap.highlightCompression", u"Float", "1.0", "0.01", "999.0"},
    {333, u"colorMap.colorTemp", u"Float", "6500.0", "2000.0", "99999.0"},
    {339, u"colorMap.contrast", u"Float", "1.0", "0.0", "99.0"},
    {340, u"colorMap.simpleExposure", u"Float", "0.0", "-20.0", "20.0"},
    {346, u"colorMap.filmic.highlightCompression", u"Float", "0.0", "0.0", "1.0"},
    {347, u"colorMap.filmic.richShadows", u"Float", "0.0", "0.0", "1.0"},
    {348, u"colorMap.saturation", u"Float", "0.0", "-1.0", "1.0"},
    {349, u"vignette.intensity", u"Float", "0.0", "0.0", "10.0"},
    {350, u"vignette.falloff", u"Float", "0.0", "0.0", "1.0"},
    {344, u"colorMap.tint", u"Vec3", "1 1 1", "", ""},
    {345, u"colorMap.usePhotographic", u"Bool", "false", "", ""},
    {341, u"colorMap.iso", u"Float", "100.0", "0.001", "999999.0"},
    {343, u"colorMap.shutterSpeed", u"Float", "50.0", "0.001", "999999.0"},
    {342, u"colorMap.fStop", u"Float", "16.0", "0.01", "50.0"},
    {364, u"colorMap.lut.enable", u"Bool", "false", "", ""},
    {384, u"colorMap.lut.path", u"String", "empty", "", ""},
    {367, u"colorMap.lut.convertToLog", u"Bool", "false", "", ""},
    {366, u"colorMap.lut.opacity", u"Float", "1.0", "0.0", "1.0"},
    {369, u"curves.enable", u"Bool", "false", "", ""},
    {370, u"curves.master.nodes", u"Vec2Array", "empty", "", ""},
    {372, u"curves.r.nodes", u"Vec2Array", "empty", "", ""},
    {374, u"curves.g.nodes", u"Vec2Array", "empty", "", ""},
    {376, u"curves.b.nodes", u"Vec2Array", "empty", "", ""},
    {371, u"curves.master.interpol", u"Int", "0", "by enumeration", "by enumeration"},
    {373, u"curves.r.interpol", u"Int", "0", "by enumeration", "by enumeration"},
    {375, u"curves.g.interpol", u"Int", "0", "by enumeration", "by enumeration"},
    {377, u"curves.b.interpol", u"Int", "0", "by enumeration", "by enumeration"},
    {383, u"sharpening.blurring.enable", u"Bool", "false", "", ""},
    {379, u"sharpening.amount", u"Float", "1.0", "0.0", "10.0"},
    {380, u"sharpening.radius", u"Float", "0.5", "0.0", "50.0"},
    {382, u"blurring.radius", u"Float", "1.33", "0.0", "50.0"},
    {330, u"colorMap.gamma", u"Float", "2.2", "0.1", "10.0"},
    {890, u"colorMap.colorTemp15Hack", u"Bool", "false", "", ""},
    {351, u"vignette.offset.x", u"Float", "0.0", "-1.0", "1.0"},
    {352, u"vignette.offset.y", u"Float", "0.0", "-1.0", "1.0"},
    {378, u"bloomGlare.halfFloat", u"Bool", "false", "", ""},
    {992, u"denoise.textureBlur", u"Float", "1.0", "1e-6", "100.0"},
};

/// Checks a value against its documented text: numbers by value, "empty" as an empty array.
void expectValue(const Property& value, const std::string& text, const char* what, const String& key) {
    SCOPED_TRACE(key.toUtf8() + " " + what);
    if (text.empty()) {
        EXPECT_TRUE(value.isNone());
        return;
    }
    switch (value.getType()) {
    case PropertyType::INT:
        EXPECT_EQ(value.asInt(), std::stoi(text));
        break;
    case PropertyType::FLOAT:
        EXPECT_EQ(value.asFloat(), std::stof(text));
        break;
    case PropertyType::BOOL:
        EXPECT_EQ(value.asBool(), text == "true");
        break;
    case PropertyType::VEC3:
        EXPECT_EQ(text, "1 1 1");
        EXPECT_EQ(value.asRgb(), Rgb(1.f, 1.f, 1.f));
        break;
    case PropertyType::STRING:
        EXPECT_EQ(text, "empty");
        EXPECT_TRUE(value.asString().isEmpty());
        break;
    default:
        EXPECT_EQ(text, "empty");
        EXPECT_EQ(toStr(value), String());
    }
}

} // namespace

TEST(PropertyCatalogue, EditorPropertiesMatchTheirDocumentation) {
    for (const ExpectedRow& expected : EXPECTED_ROWS) {
        const PropertyDescriptor* row = PropertyDescriptor::get(expected.id);
        ASSERT_NE(row, nullptr) << expected.id;
        EXPECT_EQ(row->name, String(expected.key));
        EXPECT_EQ(getTypeName(row->type), String(expected.type)) << row->name;
        EXPECT_EQ(row->defaultValue.getType(), row->type) << row->name;
        EXPECT_EQ(PropertyDescriptor::find(row->name), row);
        expectValue(row->defaultValue, expected.defaultValue, "default", row->name);
        if (std::string(expected.minValue) == "by enumeration") {
            ASSERT_TRUE(row->serializer) << row->name;
            continue;
        }
        EXPECT_FALSE(row->serializer) << row->name;
        expectValue(row->minValue, expected.minValue, "minimum", row->name);
        expectValue(row->maxValue, expected.maxValue, "maximum", row->name);
    }
}

TEST(PropertyCatalogue, EnumeratedPropertiesRangeOverTheirNames) {
    const PropertyDescriptor* mode = PropertyDescriptor::get(PropertyId::DENOISE_FILTER_TYPE);
    EXPECT_EQ(mode->minValue, Property(0));
    EXPECT_EQ(mode->maxValue, Property(4));
    EXPECT_EQ(mode->serializer->valueToString(0), String(u"None"));
    EXPECT_EQ(mode->serializer->stringToValue(u"Fireflies").value(), 1);
    EXPECT_EQ(mode->serializer->getAllowedNames().size(), 5u);

    const PropertyDescriptor* curve = PropertyDescriptor::get(PropertyId::CURVES_BLUE_INTERPOLATION);
    EXPECT_EQ(curve->maxValue, Property(3));
    EXPECT_EQ(curve->serializer->valueToString(0), String(u"Cubic splines"));
    EXPECT_EQ(curve->serializer->valueToString(2), String(u"(EXP) Uniform cubic"));
}

TEST(PropertyCatalogue, TableHoldsTheRenderEngineKeysToo) {
    EXPECT_EQ(PropertyDescriptor::get(-5), nullptr);
    EXPECT_EQ(PropertyDescriptor::get(1000000), nullptr);
    for (const char16_t* key : {u"system.numThreads", u"system.randomSeed", u"gi.vcm.mode",
                                u"terminator.bumpShadowShift", u"renderStamp", u"system.vfbUpdateInterval"}) {
        EXPECT_NE(PropertyDescriptor::find(key), nullptr) << String(key).toUtf8();
    }
    // 53 editor rows and 135 of the render engine, each id and key once.
    EXPECT_EQ(PropertyDescriptor::descriptorsCount(), 53u + 135u);
    std::int32_t previous = std::numeric_limits<std::int32_t>::min();
    PropertyDescriptor::enumerate([&previous](const PropertyDescriptor& row) {
        EXPECT_GT(row.id, previous);
        previous = row.id;
    });
    EXPECT_EQ(PropertyDescriptor::descriptorsHash(), PropertyDescriptor::descriptorsHash());
    EXPECT_NE(PropertyDescriptor::descriptorsHash(), 0u);
}

TEST(PropertyCatalogue, HelpTextsHaveTheirPlaceholdersReplaced) {
    EXPECT_EQ(
        PropertyCatalogue::getHelpText(PropertyId::DENOISE_BLEND_AMOUNT),
        String(u"Defines an amount, between 0 and 1, of blending between the original image and its denoised "
               u"variant. The global default is 0.65 which could be overridden by the input image."));
    EXPECT_EQ(
        PropertyCatalogue::getHelpText(PropertyId::BLOOM_GLARE_ENABLED),
        String(u"Applies both the bloom and glare effects. The global default is \"false\" which could be "
               u"overridden by the input image."));
    const String streaks = PropertyCatalogue::getHelpText(PropertyId::GLARE_STREAK_COUNT);
    EXPECT_TRUE(streaks.contains(u"It could be from 1 up to 8 streaks. The global default is 3 which"))
        << streaks;
    EXPECT_TRUE(
        PropertyCatalogue::getHelpText(PropertyId::TINT).contains(u"The global default is \"1 1 1\""));
    EXPECT_TRUE(PropertyCatalogue::getHelpText(PropertyId::COLOR_TEMP).contains(u"between 2000 and 99999"));

    for (const std::int32_t undocumented :
         {PropertyId::VIGNETTE_FALLOFF, PropertyId::SHUTTER_SPEED, PropertyId::F_STOP,
          PropertyId::CURVES_MASTER_NODES, PropertyId::CURVES_BLUE_INTERPOLATION}) {
        EXPECT_TRUE(PropertyCatalogue::getHelpText(undocumented).isEmpty()) << undocumented;
    }
    EXPECT_FALSE(PropertyCatalogue::getHelpText(PropertyId::CURVES_ENABLE).isEmpty());
    // No placeholder survives in any text.
    for (const std::int32_t id : PropertyCatalogue::allImageIds()) {
        EXPECT_FALSE(PropertyCatalogue::getHelpText(id).contains(u"%")) << id;
    }
}

TEST(PropertyCatalogue, IdListsAreAscendingAndComposed) {
    using namespace PropertyCatalogue;
    const auto expectList = [](ArrayView<const std::int32_t> ids,
                               std::initializer_list<std::int32_t> expected) {
        EXPECT_TRUE(std::ranges::equal(ids, expected));
    };
    expectList(denoisingIds(), {993, 996, 997});
    expectList(lightMixIds(), {362, 363, 381});
    expectList(bloomGlareIds(), {353, 354, 355, 356, 357, 358, 359, 360, 368});
    expectList(sharpeningBlurringIds(), {379, 380, 382, 383});
    expectList(toneMappingIds(), {331, 332, 333, 339, 340, 341, 342, 343, 344, 345, 346, 347, 348, 349,
                                  350, 364, 366, 367, 369, 370, 371, 372, 373, 374, 375, 376, 377, 384});

    Stack<std::int32_t> postProcessing;
    for (const auto list : {denoisingIds(), bloomGlareIds(), toneMappingIds(), sharpeningBlurringIds()}) {
        postProcessing.pushAll(list);
    }
    EXPECT_TRUE(std::ranges::equal(postProcessingIds(), postProcessing));
    postProcessing.pushAll(lightMixIds());
    EXPECT_TRUE(std::ranges::equal(allImageIds(), postProcessing));
}
