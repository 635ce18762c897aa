#pragma once

#include <cstdint>

#include "foundation/Pointers.h"
#include "foundation/String.h"

namespace Vespra {

/// The collector of the warnings and errors that have no dialog of their own.
class IErrorWindow : public Polymorphic {
public:
    enum Kind : std::int32_t {
        ERROR_KIND = 1,
        WARNING_KIND = 2,
    };

    enum MessageFlag : std::int32_t {
        /// A second message of the same code is dropped while the first is shown.
        SHOW_ONCE = 1,
    };

    /// The state value whose bit holds the window back: messages are collected but the window
    /// is not shown or raised until the bit is cleared.
    static constexpr std::int32_t STATE_HOLD_BACK = 1;

    /// One reported problem.
    struct Message {
        String text;
        std::int32_t kind = ERROR_KIND;
        /// The class of the problem: "Ignore similar messages" silences a code.
        std::int32_t code = 0;
        /// A text ahead of the link, and the link itself; all optional.
        String prefix;
        String linkText;
        String linkUrl;
        std::int32_t flags = 0;
    };

    /// Takes a message from any thread. Answers true when it was accepted or is shown already,
    /// false when it was dropped (its code is ignored, or the window is full).
    virtual bool addMessage(const Message& message) = 0;
    /// Lets every ignored code through again.
    virtual void resetIgnored() = 0;
    virtual std::int32_t getState() const = 0;
    virtual void setState(std::int32_t value) = 0;
};

} // namespace Vespra
