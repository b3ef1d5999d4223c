#include "image_io/plate/plate_image.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <limits>
#include <new>

#include "host/app_base/app_progress_bar.h"
#include "host/colorio/color_io.h"
#include "host/colorio/color_io_converter.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/log_line.h"
#include "image_io/load/color_space_rules.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/read_limits.h"
#include "image_io/pixels/window.h"
#include "image_io/plate/read_plate.h"

using zv_image_io::guarded;
using zv_image_io::kLogWarning;
using zv_image_io::log_line;

using Guard = std::lock_guard<std::recursive_mutex>;

namespace {

constexpr std::size_t kChannels = 4;

void show_progress(AppProgressBar* progress, float value)
{
    if (progress)
        progress->set_value(value);
}

/// A reader that is closed at the end, on every path.
struct OpenFile {
    ~OpenFile()
    {
        if (input)
            guarded([this] { input->close(); });
    }

    std::unique_ptr<OIIO::ImageInput> input;
    OIIO::ImageSpec spec{OIIO::TypeDesc::UNKNOWN};
};

bool is_fit_for_plate(CoreString const& path, OIIO::ImageInput const& input, OIIO::ImageSpec const& spec)
{
    if (spec.nchannels < 3) {
        log_line(kLogWarning, "Plate image '", path,
                 "' was not loaded : expecting an image with 3 or more channels but got ", spec.nchannels,
                 " channel(s).\n");
        return false;
    }
    CoreString const reason = zv_image_io::refusal(spec, input, path);
    if (!reason.is_empty())
        log_line(kLogWarning, "Plate image '", path, "' was not loaded : ", reason, ".\n");
    return reason.is_empty();
}

void make_opaque(float* pixels, std::size_t value_count)
{
    for (std::size_t alpha = 3; alpha < value_count; alpha += kChannels)
        pixels[alpha] = 1.0f;
}

void convert_to_working_space(CoreString const& path, OIIO::ImageSpec const& spec, float* pixels)
{
    CoreString color_space = ImageIO::get_color_space_from_file(path);
    if (color_space
            .is_empty()) {  // also without memory for it, which the header that is open tells by throwing
        ColorSpaceRule rule;
        color_space = zv_image_io::color_space_of(spec, path, rule);
    }
    ColorIOConverter converter;
    converter.configure(color_space, ColorIO::get_default_color_space_name());
    converter.convert_buffer(pixels, static_cast<unsigned int>(spec.width),
                             static_cast<unsigned int>(spec.height), kChannels);
}

}  // namespace

PlateImage::PlateImage(CoreString const& path)
    : m_file_path(path)
{
}

PlateImage::PlateImage(PlateImage const& other)
{
    *this = other;
}

PlateImage& PlateImage::operator=(PlateImage const& other)
{
    if (this == &other)
        return *this;
    std::scoped_lock const guard(m_lock, other.m_lock);
    m_file_path = other.m_file_path;  // may throw: first
    clear_data();                     // which makes this plate count as not loaded
    m_height = other.m_height.load();
    m_requester_count = other.m_requester_count.load();
    if (other.m_pixels) {
        m_pixels = make_pixels(other.m_value_count);
        if (!m_pixels)
            return *this;  // as after a failed read
        std::copy_n(other.m_pixels.get(), other.m_value_count.load(), m_pixels.get());
    }
    m_width = other.m_width.load();
    m_value_count = other.m_value_count.load();
    return *this;
}

PlateImage::~PlateImage()
{
    m_requester_count = 0;
    clear_data();
}

CoreString PlateImage::get_file_base_name() const
{
    return guarded(CoreString(), [this] { return CoreString::after_last(m_file_path, '/'); });
}

int PlateImage::get_pixel_count() const
{
    long long const count = static_cast<long long>(m_width) * m_height;
    return static_cast<int>(std::min<long long>(count, std::numeric_limits<int>::max()));
}

void PlateImage::add_requester()
{
    ++m_requester_count;
}

void PlateImage::remove_requester()
{
    unsigned int count = m_requester_count;
    do {
        if (count == 0)
            return;
    } while (!m_requester_count.compare_exchange_weak(count, count - 1));
    if (count != 1)
        return;
    Guard const guard(m_lock);
    if (m_is_loaded && m_requester_count == 0)  // somebody may have come meanwhile
        clear_data();
}

void PlateImage::clear_data()
{
    Guard const guard(m_lock);
    m_pixels.reset();
    m_value_count = 0;
    m_width = 0;  // the height stays
    m_is_loaded = false;
}

bool PlateImage::load(AppProgressBar* progress)
{
    Guard const guard(m_lock);
    bool const is_read = guarded(false, [&] {
        show_progress(progress, 0.0f);
        return !m_is_loaded && !m_file_path.is_empty() && read_file(progress);
    });
    m_is_loaded = is_read;
    return is_read;
}

/// Zeros; null without memory.
PlateImage::Pixels PlateImage::make_pixels(std::size_t value_count)
{
    return {static_cast<float*>(std::calloc(value_count, sizeof(float))), &std::free};
}

bool PlateImage::read_file(AppProgressBar* progress)
{
    OpenFile file;
    if (!ImageIOLoad::load_header(m_file_path, file.input, file.spec) ||
        !is_fit_for_plate(m_file_path, *file.input, file.spec))
        return false;
    show_progress(progress, 0.3f);
    auto const value_count =
        zv_image_io::size_product(std::size_t(file.spec.width), std::size_t(file.spec.height), kChannels);
    if (!value_count)
        return false;
    m_pixels.reset();
    m_value_count = 0;
    m_width = file.spec.width;
    m_height = file.spec.height;
    // Pixels of its own until they are whole: the progress bar may come back and load, or assign, meanwhile.
    Pixels pixels(nullptr, &std::free);
    bool const is_read = guarded(false, [&] {
        pixels = make_pixels(*value_count);
        return pixels && zv_image_io::read_plate_rows(*file.input, file.spec, pixels.get());
    });
    show_progress(progress, 0.7f);
    if (!is_read) {
        clear_data();
        return false;
    }
    if (file.spec.nchannels == 3)
        make_opaque(pixels.get(), *value_count);
    bool const is_converted = guarded(false, [&] {
        convert_to_working_space(m_file_path, file.spec, pixels.get());
        return true;
    });
    if (!is_converted) {  // no memory: these would be other colours
        clear_data();
        return false;
    }
    m_width = file.spec.width;
    m_height = file.spec.height;
    m_value_count = *value_count;
    m_pixels = std::move(pixels);
    show_progress(progress, 0.9f);
    return true;
}

/// The number is that of the application's memory reports.
unsigned long long PlateImage::get_memory_size() const
{
    unsigned long long const values = m_value_count;
    return 56 + (values ? 28 : 16) + 4 * values;
}
