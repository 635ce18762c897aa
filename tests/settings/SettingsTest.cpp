#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Exception.h"
#include "settings/PropertyIds.h"
#include "settings/Settings.h"

using namespace Vespra;
using namespace Vespra::PropertyId;

namespace {

struct Recorder {
    std::vector<std::pair<std::int32_t, Property>> calls;
    SharedPtr<SettingsListener> listener = makeShared<SettingsListener>(
        [this](std::int32_t id, const Property& value) { calls.emplace_back(id, value); });
};

} // namespace

TEST(Settings, NotifiesOnlyRealChanges) {
    Settings settings;
    Recorder recorder;
    settings.addListener(CONTRAST, recorder.listener);

    EXPECT_EQ(settings.get(CONTRAST).asFloat(), 1.f); // the table's default
    // The first write of the default value is a change: nothing was stored yet.
    settings.set(CONTRAST, 1.f);
    ASSERT_EQ(recorder.calls.size(), 1u);
    settings.set(CONTRAST, 1.f);
    EXPECT_EQ(recorder.calls.size(), 1u);
    settings.set(CONTRAST, 2.f);
    ASSERT_EQ(recorder.calls.size(), 2u);
    EXPECT_EQ(recorder.calls[1].second, Property(2.f));
    // Other ids reach other listeners only.
    settings.set(SATURATION, 0.5f);
    EXPECT_EQ(recorder.calls.size(), 2u);
    // A value of another type replaces the stored one and is a change.
    settings.set(CONTRAST, 2);
    EXPECT_EQ(recorder.calls.size(), 3u);
    EXPECT_EQ(settings.get(CONTRAST), Property(2));
}

TEST(Settings, ExpiredListenersAreNotCalled) {
    Settings settings;
    int calls = 0;
    auto listener = makeShared<SettingsListener>([&calls](std::int32_t, const Property&) { ++calls; });
    settings.addListener(SATURATION, listener);
    settings.set(SATURATION, 0.1f);
    listener.reset();
    settings.set(SATURATION, 0.2f);
    EXPECT_EQ(calls, 1);

    // A listener that drops its own last owner while it runs is not called again.
    int selfCalls = 0;
    auto holder = std::make_shared<SharedPtr<SettingsListener>>();
    *holder = makeShared<SettingsListener>([&selfCalls, holder](std::int32_t, const Property&) {
        ++selfCalls;
        holder->reset();
    });
    settings.addListener(SATURATION, *holder);
    settings.set(SATURATION, 0.3f);
    settings.set(SATURATION, 0.4f);
    EXPECT_EQ(selfCalls, 1);
}

TEST(Settings, CopyFromHonoursItsFilter) {
    Settings source;
    source.set(CONTRAST, 3.f);
    source.set(SATURATION, -0.5f);

    Settings target;
    Recorder recorder;
    target.addListener(CONTRAST, recorder.listener);
    target.addListener(SATURATION, recorder.listener);
    target.copyFrom(source, [](std::int32_t) { return false; });
    EXPECT_TRUE(recorder.calls.empty());
    EXPECT_FALSE(target.isSet(CONTRAST));

    target.set(SIMPLE_EXPOSURE, 4.f);
    target.copyFrom(source, [](std::int32_t id) { return id == SATURATION; });
    ASSERT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(recorder.calls[0].first, SATURATION);
    EXPECT_EQ(target.get(SATURATION).asFloat(), -0.5f);
    EXPECT_EQ(target.get(CONTRAST).asFloat(), 1.f);
    // What the source doesn't hold keeps its value.
    target.copyFrom(source);
    EXPECT_EQ(target.get(SIMPLE_EXPOSURE).asFloat(), 4.f);
    EXPECT_EQ(target.get(CONTRAST).asFloat(), 3.f);
}

TEST(Settings, UnknownIdRaises) {
    Settings settings;
    try {
        (void)settings.get(123456);
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(), String(u"Requested property id is not defined."));
    }
}

TEST(Settings, ValidationTexts) {
    String error;
    EXPECT_TRUE(Settings::validate(GLARE_STREAK_COUNT, 1, error));
    EXPECT_TRUE(Settings::validate(GLARE_STREAK_COUNT, 8, error));
    EXPECT_FALSE(Settings::validate(GLARE_STREAK_COUNT, 9, error));
    EXPECT_EQ(error, String(u"Value is expected to be between 1 and 8"));
    EXPECT_FALSE(Settings::validate(GLARE_STREAK_COUNT, 0, error));

    EXPECT_TRUE(Settings::validate(DENOISE_SENSITIVITY, 0.1f, error));
    EXPECT_FALSE(Settings::validate(DENOISE_SENSITIVITY, 0.09f, error));
    EXPECT_EQ(error, String(u"Value is expected to be between 0.1 and 10"));

    EXPECT_FALSE(Settings::validate(DENOISE_SENSITIVITY, 1, error));
    EXPECT_EQ(error, String(u"Value has wrong type."));
    EXPECT_FALSE(Settings::validate(123456, 1, error));
    EXPECT_EQ(error, String(u"Value is unrecognized."));
    // Properties without a range accept any value of their type.
    EXPECT_TRUE(Settings::validate(TINT, Rgb(-5.f, 1e9f, 0.f), error));

    EXPECT_EQ(Settings::validationMessage(GLARE_STREAK_COUNT, 9).value(),
              String(u"Property bloomGlare.streakCount is invalid. Value is expected to be between 1 and 8"));
    EXPECT_FALSE(Settings::validationMessage(GLARE_STREAK_COUNT, 3).has_value());
}

TEST(Settings, ListenersMayWriteAgainAndRunOnTheWritingThread) {
    Settings settings;
    std::atomic<int> exposureCalls{0};
    std::thread::id listenerThread;
    // Writing another property from inside a listener takes the recursive locks again.
    auto chain = makeShared<SettingsListener>([&](std::int32_t, const Property& value) {
        settings.set(SIMPLE_EXPOSURE, value.asFloat() * 2.f);
        EXPECT_EQ(settings.get(SIMPLE_EXPOSURE).asFloat(), value.asFloat() * 2.f);
    });
    auto exposure = makeShared<SettingsListener>([&](std::int32_t, const Property&) {
        listenerThread = std::this_thread::get_id();
        ++exposureCalls;
    });
    settings.addListener(CONTRAST, chain);
    settings.addListener(SIMPLE_EXPOSURE, exposure);

    std::thread writer([&] { settings.set(CONTRAST, 1.5f); });
    const std::thread::id writerId = writer.get_id();
    writer.join();
    EXPECT_EQ(exposureCalls.load(), 1);
    EXPECT_EQ(listenerThread, writerId);
    EXPECT_EQ(settings.get(SIMPLE_EXPOSURE).asFloat(), 3.f);

    // Two threads writing at once: every distinct write is seen exactly once.
    std::atomic<int> saturationCalls{0};
    auto counter = makeShared<SettingsListener>([&](std::int32_t, const Property&) { ++saturationCalls; });
    settings.addListener(SATURATION, counter);
    const auto writeMany = [&settings](float offset) {
        for (int i = 0; i < 500; ++i) {
            settings.set(SATURATION, offset + float(i) * 1e-3f);
            (void)settings.get(SATURATION);
        }
    };
    std::thread first(writeMany, -0.9f);
    std::thread second(writeMany, 0.1f);
    first.join();
    second.join();
    EXPECT_EQ(saturationCalls.load(), 1000);
}
