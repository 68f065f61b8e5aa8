#ifndef FRAMEOPTIONS_H
#define FRAMEOPTIONS_H

#include "framefilter.h"
#include "framewatch.h"
#include "programwords.h"
#include "verbs/options.h"

#include <memory>

namespace tarvexctl {

class FrameSource;

/// Which frames a verb shows: --client, --from, --to, --command, --operation, --errors, --slow.
class FrameFilterOptions
{
public:
    void addTo(CLI::App& parser);

    /// Throws Failure with WrongUse for what makes no sense. The names of clients are not looked at, see
    /// checkClients().
    FrameCriteria criteria() const;

private:
    OptionalText m_client{"--client", Words::mark("Only what this client sends or gets, and its connections"), "NAME"};
    OptionalText m_from{"--from", Words::mark("Only what this client sends; \"bus\" is the bus itself"), "NAME"};
    OptionalText m_to{"--to", Words::mark("Only what this client gets; \"bus\" is the bus itself"), "NAME"};
    OptionalText m_command{"--command", Words::mark("Only messages with this command"), "NAME"};
    OptionalText m_operation{"--operation", Words::mark("Only this operation, such as saveState"), "NAME"};
    bool m_errors = false;
    OptionalText m_slow{"--slow", Words::mark("Only replies that took at least so many milliseconds"), "MS"};
};

/// Where a verb gets the frames from: --capture, and without it the development bus.
class FrameSourceOptions
{
public:
    void addTo(CLI::App& parser);

    bool isCapture() const { return m_interface.has_value(); }

    /// Makes the source. Throws Failure when there is no bus, or when it does not show its frames. \a pastCount is the
    /// number of frames of the past that are wanted; \a past gets what FrameWatch needs for it.
    std::unique_ptr<FrameSource> make(int pastCount, FramePast& past) const;

private:
    std::optional<std::string> m_interface; ///< Empty when only the option was given.
};

/// How many frames of the past are shown: --last.
class LastOption
{
public:
    /// \a what is counted, such as "frames".
    explicit LastOption(const char* help) : m_help(help) { }

    void addTo(CLI::App& parser);

    /// 0 without the option.
    int count() const;

private:
    const char* const m_help;
    std::optional<std::string> m_count;
};

} // namespace tarvexctl

#endif // FRAMEOPTIONS_H
