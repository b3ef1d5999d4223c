#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "host/core/core_string.h"
#include "image_io/frame/export.h"

class AppProgressBar;

/// A picture that is shown behind or beside a view: plain floats in the application's working colour space.
///
/// Shape    `get_height` rows of `get_width` pixels, from the top; red, green, blue, alpha, packed
/// Owns     its pixels, from `load` to the last `remove_requester`
/// Errors   nothing throws but constructors and assignments without memory; false, and the log says why unless the file broke off
///          or there is no memory
/// Threads  any number; but pixels must not be read while another thread loads or removes the last requester
class ZV_IMAGE_IO_EXPORT PlateImage {
public:
    explicit PlateImage(CoreString const& path);
    /// With a copy of the pixels, if there is memory for it; a copy counts as not loaded.
    PlateImage(PlateImage const& other);
    PlateImage& operator=(PlateImage const& other);
    ~PlateImage();

    CoreString const& get_file_path() const { return m_file_path; }
    /// What stands behind the last "/" of the path; empty without memory.
    CoreString get_file_base_name() const;
    int get_width() const { return m_width; }
    int get_height() const { return m_height; }
    int get_pixel_count() const;
    /// Null until loaded.
    float* get_pixels() { return m_pixels.get(); }
    bool is_loaded() const { return m_is_loaded; }
    unsigned int get_requester_count() const { return m_requester_count; }

    void add_requester();
    /// The last one to go frees the pixels; the next `load` reads the file again.
    void remove_requester();

    /// Reads the file. Files of less than 3 channels are refused, further channels than 4 are left out, and a missing
    /// alpha is 1. The rows are those from 0 to the height, whatever the window of the file's data.
    ///
    /// A plate that is loaded already gives false and counts as not loaded from then on, though it keeps its pixels: the
    /// load after that reads the file again.
    bool load(AppProgressBar* progress);

    /// Bytes held.
    unsigned long long get_memory_size() const;

private:
    bool read_file(AppProgressBar* progress);
    void clear_data();

    CoreString m_file_path;
    std::atomic<int> m_width = 0;
    std::atomic<int> m_height = 0;
    std::atomic<bool> m_is_loaded = false;
    /// Of `calloc`: what nothing is read into costs neither time nor memory.
    using Pixels = std::unique_ptr<float[], void (*)(void*)>;
    static Pixels make_pixels(std::size_t value_count);

    Pixels m_pixels{nullptr, &std::free};
    std::atomic<std::size_t> m_value_count = 0;  // floats in m_pixels
    std::atomic<unsigned int> m_requester_count = 0;
    /// Held while the pixels come or go. The progress bar of a load may come back here.
    mutable std::recursive_mutex m_lock;
};
