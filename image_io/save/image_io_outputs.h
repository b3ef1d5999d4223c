#pragma once

#include <memory>

#include "host/core/core_array.h"
#include "host/core/core_vector.h"
#include "image_io/frame/export.h"
#include "image_io/frame/image_io.h"
#include "image_io/save/image_io_output.h"
#include "image_io/save/image_save_options.h"

/// The files of one save, open for writing: one with all layers, or one a layer.
///
/// Owns     its outputs, which copies of the list share: the last list that holds one closes and frees it
/// Threads  one at a time
class ZV_IMAGE_IO_EXPORT ImageIOOutputs {
public:
    ImageIOOutputs();
    ImageIOOutputs(ImageIOOutputs const& other);
    ImageIOOutputs& operator=(ImageIOOutputs const& other);
    /// Closes the outputs, in order.
    ~ImageIOOutputs();

    /// The output; past the end one that belongs to nobody, is not open and never will be.
    ImageIOOutput& operator[](unsigned int index);

    /// Appends an output, which is the list's from now on.
    void add_new(ImageIOOutput* output);
    unsigned int get_count() const;
    bool is_valid() const;

    /// Writes a region into each output, in order. The first status that is not success ends it.
    ImageIO::SavingStatus write_region(ImageEvalContext& context, GMathVec4<int> const& region);
    /// The save has failed: files from the number on that were given no pixels go away when they are closed.
    void drop_empty_files(unsigned int first = 0);

private:
    CoreVector<std::shared_ptr<ImageIOOutput>> m_outputs;
    CoreArray<ImageSaveOptions> m_options;  // nothing fills it
};
