#pragma once

#include <future>
#include <map>

#include "base/image/ChannelImage.h"
#include "base/pipeline/LoadOperator.h"

namespace Vespra::Pipeline::Testing {

/// A colour element (R, G, B) of `window`'s size whose pixel (x, y) holds `value(x, y, channel)`.
template <class Value>
void addColorElement(ChannelImage& image, const String& element, Value value) {
    const Bucket window = image.getDataWindow();
    const char16_t* components[] = {u"R", u"G", u"B"};
    for (int c = 0; c < 3; ++c) {
        const String name = element.isEmpty() ? String(components[c]) : element + u"." + components[c];
        Channel<float>& channel = image.addChannel<float>(name);
        channel.resize(std::uint32_t(window.width()), std::uint32_t(window.height()));
        for (std::int32_t y = 0; y < window.height(); ++y) {
            for (std::int32_t x = 0; x < window.width(); ++x) {
                channel.row(std::uint32_t(y))[x] = value(x, y, c);
            }
        }
    }
}

template <class Value>
void addMonoChannel(ChannelImage& image, const String& name, Value value) {
    const Bucket window = image.getDataWindow();
    Channel<float>& channel = image.addChannel<float>(name);
    channel.resize(std::uint32_t(window.width()), std::uint32_t(window.height()));
    for (std::int32_t y = 0; y < window.height(); ++y) {
        for (std::int32_t x = 0; x < window.width(); ++x) {
            channel.row(std::uint32_t(y))[x] = value(x, y);
        }
    }
}

/// What one run of an asynchronous operator reported.
struct RunReport {
    bool finished = false;
    String error;
    std::vector<String> warnings;
};

/// Runs `op` through `start` and waits for its end.
template <class Operator, class Start>
RunReport runToEnd(Operator& op, Start start) {
    RunReport report;
    std::promise<void> done;
    op.onWarning = [&report](const String& text) { report.warnings.push_back(text); };
    op.onFinished = [&](const String&) {
        report.finished = true;
        done.set_value();
    };
    op.onError = [&](const String& text) {
        report.error = text;
        done.set_value();
    };
    start();
    done.get_future().wait();
    return report;
}

/// A loader that serves images from memory by path.
inline SharedPtr<LoadOperator::Loader> memoryLoader(std::map<String, ChannelImage> images) {
    return makeShared<LoadOperator::Loader>(
        [images = std::move(images)](const Io::Path& path) -> Expected<ChannelImage, String> {
            const auto found = images.find(path.genericStr());
            if (found == images.end()) {
                return makeUnexpected(u"no such test image " + path.genericStr());
            }
            return found->second;
        });
}

} // namespace Vespra::Pipeline::Testing
