#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "tools/file_sequence.h"
#include "tools/load_request.h"
#include "tools/output_plan.h"
#include "tools/save_request.h"
#include "tools/stored_picture.h"
#include "tools/terminal.h"

namespace zvio {

/// One picture that is loaded and ready to be saved, with all that the save is told.
struct SaveJob {
    FilePair paths;
    std::optional<StoredHeader> source;  // nothing where the libraries give none
    LoadedFile loaded;
    bool is_widened = false;        // the canvas was brought to 32-bit samples
    std::string color_space;        // of the output
    CoreVector<CoreString> layers;  // what the options' layers point to
    std::optional<GMathVec4<float>> crop;
    ImageSaveOptions options;
    std::unique_ptr<TerminalApp> app;
    OutputPlan plan;

    [[nodiscard]] GMathVec4<float> const* crop_or_null() const { return crop ? &*crop : nullptr; }
};

/// Makes the jobs of a command line, one after the other.
class SaveJobs {
public:
    /// Throws CommandError for options that cannot be followed.
    SaveJobs(SaveRequest const& request, Settings const& settings, Document& document);

    [[nodiscard]] std::vector<FilePair> const& pairs() const { return m_pairs; }
    /// Loads and plans; the warnings are in the document afterwards. Null if the file cannot be
    /// loaded, or is too large to be saved; the document knows.
    std::unique_ptr<SaveJob> prepare(FilePair const& paths);

private:
    void set_options(SaveJob& job) const;
    void add_layers(SaveJob& job) const;

    SaveRequest const& m_request;
    Settings const& m_settings;
    Document& m_document;
    Loader m_loader;
    WriteSettings m_write;
    std::optional<GMathVec4<float>> m_crop;
    std::vector<FilePair> m_pairs;
};

/// What a plan says, for results.
Json plan_json(OutputPlan const& plan);
std::string plan_text(OutputPlan const& plan);

}  // namespace zvio
