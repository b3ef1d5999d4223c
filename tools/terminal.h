#pragma once

#include <memory>
#include <string>

#include "host/of/of_app.h"
#include "tools/settings.h"

namespace zvio {

/// Writes a text to standard error, clear of a progress bar that stands there. Any thread.
void write_standard_error(std::string const& text);

/// The application of this program: a host whose progress bars are drawn on standard error.
class TerminalApp : public OfApp {
public:
    explicit TerminalApp(ProgressMode mode);

    /// A bar that is drawn, or null where none is wanted. Ends by `end_bar`.
    AppProgressBar* begin_bar(std::string const& title);
    void end_bar(AppProgressBar* bar);

protected:
    std::unique_ptr<AppProgressBar> make_progress_bar(CoreString const& title, bool cancellable,
                                                      bool modal) override;

private:
    bool m_draws;
};

}  // namespace zvio
