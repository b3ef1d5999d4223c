#include "image_io/frame/checked_image_output.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "tests/save/file_size_limit.h"
#include "tests/support/scripted_format.h"

namespace {

using namespace zv_test;
using Calls = std::vector<std::string>;
using OIIO::TypeDesc;
using zv_image_io::CheckedImageOutput;

std::unique_ptr<CheckedImageOutput> open_file(std::string const& path, int channels = 1, int tile = 0)
{
    auto output = CheckedImageOutput::make(path);
    EXPECT_TRUE(output && output->open(path, picture_spec(4, 3, channels, TypeDesc::FLOAT, 0, 0, tile)));
    return output;
}

TEST(CheckedImageOutput, IsNullForUnknownExtensionsAndLeavesNoText)
{
    EXPECT_EQ(CheckedImageOutput::make("a.zzz"), nullptr);
    EXPECT_EQ(OIIO::geterror(), "");
}

TEST(CheckedImageOutput, AnswersAsTheWriterThatItHolds)
{
    auto const tiff = CheckedImageOutput::make("a.tif"), png = CheckedImageOutput::make("a.png");

    EXPECT_STREQ(tiff->format_name(), "tiff");
    EXPECT_EQ(tiff->supports("tiles"), 1);
    EXPECT_STREQ(png->format_name(), "png");
    EXPECT_EQ(png->supports("tiles"), 0);
}

TEST(CheckedImageOutput, ForwardsEveryKindOfWriteAndTheSpec)
{
    TempDir const folder;
    WriteScript script;
    script.supports_tiles = true;
    ScriptedFile const file(folder, script);
    std::vector<float> const pixels(64);
    auto output = open_file(file.path(), 1, 2);

    EXPECT_EQ(output->spec().width, 4);
    EXPECT_EQ(output->spec().tile_width, 2);
    EXPECT_TRUE(output->write_scanline(1, 0, TypeDesc::FLOAT, pixels.data(), OIIO::AutoStride));
    EXPECT_TRUE(
        output->write_scanlines(0, 2, 1, TypeDesc::FLOAT, pixels.data(), OIIO::AutoStride, OIIO::AutoStride));
    EXPECT_TRUE(output->write_tile(2, 0, 0, TypeDesc::FLOAT, pixels.data(), 4, 8, OIIO::AutoStride));
    EXPECT_TRUE(output->write_tiles(0, 2, 0, 2, 0, 1, TypeDesc::FLOAT, pixels.data(), OIIO::AutoStride,
                                    OIIO::AutoStride, OIIO::AutoStride));
    EXPECT_FALSE(output->write_rectangle(0, 2, 0, 2, 0, 1, TypeDesc::FLOAT, pixels.data(), OIIO::AutoStride,
                                         OIIO::AutoStride, OIIO::AutoStride));  // which the format has not
    EXPECT_TRUE(output->write_image(TypeDesc::FLOAT, pixels.data()));
    EXPECT_TRUE(output->close());
    EXPECT_FALSE(output->has_trouble());
    output.reset();

    EXPECT_EQ(file.written().calls, (Calls{"open 4 by 3, 1 channels of float", "write_scanline 1",
                                           "write_scanlines 0 2, z 1, float", "write_tile 2 0",
                                           "write_tile 0 0", "write_image float", "close", "destroy"}));
}

TEST(CheckedImageOutput, PassesOnTheTextsOfFailuresAlone)
{
    TempDir const folder;
    std::string const path = folder.file("a.tif");
    std::vector<float> const pixels(64);
    auto output = open_file(path);

    output->write_image(TypeDesc::FLOAT, pixels.data());
    EXPECT_TRUE(output->close());  // which leaves a text behind in the writer

    EXPECT_EQ(output->geterror(), "");
}

TEST(CheckedImageOutput, RepeatsATextOnlyOnceItWasRead)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::REFUSE;
    script.write_error = "torn";
    ScriptedFile const file(folder, script);
    auto const output = open_file(file.path());
    std::vector<float> const pixels(64);
    auto const write = [&] { return output->write_image(TypeDesc::FLOAT, pixels.data()); };

    EXPECT_FALSE(write());
    EXPECT_FALSE(write());
    EXPECT_EQ(output->geterror(), "torn");
    EXPECT_FALSE(write());
    EXPECT_EQ(output->geterror(), "torn");
}

TEST(CheckedImageOutput, ClosesTwiceAndTellsTroubleOnce)
{
    TempDir const folder;
    WriteScript script;
    script.write = WriteScript::THROW;
    script.write_error = "thrown";
    ScriptedFile const file(folder, script);
    auto const output = open_file(file.path());
    std::vector<float> const pixels(64);

    EXPECT_FALSE(output->write_image(TypeDesc::FLOAT, pixels.data()));
    EXPECT_EQ(output->geterror(), "thrown");
    EXPECT_TRUE(output->has_trouble());

    EXPECT_FALSE(output->close());
    EXPECT_TRUE(output->close());
}

TEST(CheckedImageOutput, RefusesToWriteToWhatIsNotOpen)
{
    TempDir const folder;
    std::vector<float> const pixels(64);
    for (char const* name : {"a.tif", "a.png", "a.jpg", "a.tga", "a.bmp"}) {
        auto const never = CheckedImageOutput::make(folder.file(name));
        EXPECT_TRUE(never->close());
        EXPECT_FALSE(never->write_image(TypeDesc::FLOAT, pixels.data()));
        EXPECT_EQ(never->geterror(), "the file is not open");

        auto const closed = open_file(folder.file(name), 3);
        closed->write_image(TypeDesc::FLOAT, pixels.data());
        EXPECT_TRUE(closed->close()) << name;
        EXPECT_FALSE(closed->write_scanlines(0, 1, 0, TypeDesc::FLOAT, pixels.data(), OIIO::AutoStride,
                                             OIIO::AutoStride));
        EXPECT_EQ(closed->geterror(), "the file is not open");
        EXPECT_TRUE(closed->close());
        EXPECT_EQ(read_picture(folder.file(name)).spec.width, 4);
    }
}

TEST(CheckedImageOutput, AFailedOpenLeavesThingsAsTheyWere)
{
    TempDir const folder;
    std::string const fresh = folder.file("fresh.hdr"), old = folder.file("old.hdr");
    write_bytes(old, {'o', 'l', 'd'});
    for (std::string const& path : {fresh, old}) {
        auto const output = CheckedImageOutput::make(path);
        EXPECT_FALSE(output->open(path, picture_spec(4, 3, 2, TypeDesc::FLOAT)));  // it takes three channels
        EXPECT_TRUE(output->close());
    }

    EXPECT_FALSE(std::filesystem::exists(fresh));
    EXPECT_EQ(file_bytes(old), (std::vector<char>{'o', 'l', 'd'}));
}

TEST(CheckedImageOutput, AFailedOpenLeavesNothingOfAWriterThatOpensItsOwnFile)
{
    TempDir const folder;
    std::string const path = folder.file("a.rla");
    auto const output = CheckedImageOutput::make(path);
    ASSERT_FALSE(output->supports("ioproxy"));

    EXPECT_FALSE(output->open(path, picture_spec(70000, 3, 3, TypeDesc::UINT8)));  // behind its own open

    EXPECT_FALSE(std::filesystem::exists(path));
}

/// The formats whose writers of OpenImageIO open their files themselves.
class WriterWithItsOwnFile : public testing::TestWithParam<char const*> {
protected:
    static constexpr int kWidth = 64, kHeight = 48;

    /// Opens, writes and closes; what was not in order.
    std::string write(OIIO::ImageOutput& output, std::string const& path) const
    {
        std::vector<float> pixels(std::size_t(kWidth) * kHeight * 3);
        std::generate(pixels.begin(), pixels.end(),
                      [value = 0u]() mutable { return float(++value * 37 % 101) / 101; });
        int const channels = GetParam() == std::string("zfile") ? 1 : 3;
        bool const is_written = output.open(path, picture_spec(kWidth, kHeight, channels, TypeDesc::UINT8)) &&
                                output.write_image(TypeDesc::FLOAT, pixels.data());
        return output.close() && is_written ? "" : output.geterror();
    }

    std::string write_checked() const { return write(*CheckedImageOutput::make(m_path), m_path); }

    TempDir const m_folder;
    std::string const m_path = m_folder.file(std::string("a.") + GetParam());
};

INSTANTIATE_TEST_SUITE_P(Formats, WriterWithItsOwnFile,
                         testing::Values("fits", "heic", "ico", "rla", "sgi", "zfile"),
                         [](auto const& info) { return info.param; });

TEST_P(WriterWithItsOwnFile, MakesTheFileThatItMakesAlone)
{
    std::string const bare = m_folder.file(std::string("bare.") + GetParam());
    auto const writer = OIIO::ImageOutput::create(bare);
    ASSERT_FALSE(writer->supports("ioproxy"));

    EXPECT_EQ(write(*writer, bare), "");
    EXPECT_EQ(write_checked(), "");

    auto made = file_bytes(m_path), expected = file_bytes(bare);
    if (GetParam() == std::string("sgi"))  // whose writer fills the name in the header with what lies about
        for (auto* bytes : {&made, &expected})
            std::fill_n(bytes->begin(), 512, 0);
    EXPECT_EQ(made, expected);
}

TEST_P(WriterWithItsOwnFile, ForgetsNoByteThatAFullDiskRefuses)
{
    std::filesystem::create_symlink("/dev/full", m_path);

    EXPECT_EQ(write_checked(), "No space left on device");

    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
}

TEST_P(WriterWithItsOwnFile, IsNotOpenedWhereFilesAreLimitedBelowItsLargest)
{
    for (std::size_t limit : {0, 1, 4096, 1 << 20}) {
        FileSizeLimit const refused(limit);

        EXPECT_EQ(write_checked(), "File too large") << limit;

        EXPECT_FALSE(std::filesystem::exists(m_path)) << limit;
    }
}

TEST_P(WriterWithItsOwnFile, ForgetsNoByteThatIsRefusedOnceItIsOpen)
{
    int const size = GetParam() == std::string("ico") ? 256 : 512;  // more than buffers hold
    int const channels = GetParam() == std::string("zfile") ? 1 : 3;
    std::vector<float> const row(std::size_t(size) * 3, 0.5f);
    for (bool at_the_end : {false, true}) {
        auto const output = CheckedImageOutput::make(m_path);
        ASSERT_TRUE(output->open(m_path, picture_spec(size, size, channels, TypeDesc::UINT8)));
        std::optional<FileSizeLimit> refused;
        for (int y = 0; y < size; ++y) {
            if (y == size / 2 && !at_the_end)
                refused.emplace(0);
            output->write_scanline(y, 0, TypeDesc::FLOAT, row.data(), OIIO::AutoStride);
        }
        refused.emplace(0);

        EXPECT_FALSE(output->close()) << at_the_end;

        EXPECT_THAT(output->geterror(), testing::HasSubstr("File too large")) << at_the_end;
        EXPECT_FALSE(std::filesystem::exists(m_path)) << at_the_end;
    }
}

TEST(CheckedImageOutput, RemovesOnlyAFileThatItCreated)
{
    TempDir const folder;
    WriteScript script;
    script.makes_file = true;
    script.close = WriteScript::REFUSE;
    ScriptedFile const fresh(folder, script, "fresh.zvs"), old(folder, script, "old.zvs");
    write_bytes(old.path(), {'o', 'l', 'd'});

    EXPECT_FALSE(open_file(fresh.path())->close());
    EXPECT_FALSE(open_file(old.path())->close());

    EXPECT_FALSE(std::filesystem::exists(fresh.path()));
    EXPECT_TRUE(std::filesystem::exists(old.path()));
}

TEST(CheckedImageOutput, RefusesShapesThatNoWriterShouldSee)
{
    TempDir const folder;
    struct Shape {
        char const* name;
        int width, height, channels;
        char const* reason;
    };
    for (Shape const& shape :
         {Shape{"a.tif", 4, 3, 0, "the image has no channels"},
          Shape{"a.bmp", 0, 3, 1, "the image has no size"}, Shape{"a.bmp", 4, -3, 1, "the image has no size"},
          Shape{"a.jpg", 65501, 1, 3, "JPEG files have at most 65500 pixels an edge"},
          Shape{"a.jpg", 1, 65501, 3, "JPEG files have at most 65500 pixels an edge"},
          Shape{"a.webp", 16384, 1, 3, "WebP files have at most 16383 pixels an edge"},
          Shape{"a.webp", 1, 16384, 4, "WebP files have at most 16383 pixels an edge"},
          Shape{"a.dpx", 4, 3, 2, "DPX files have 1, 3 or 4 channels"},
          Shape{"a.tif", 2147483647, 2147483647, 3, "the image is too large"}}) {
        auto const output = CheckedImageOutput::make(folder.file(shape.name));
        EXPECT_FALSE(output->open(folder.file(shape.name),
                                  picture_spec(shape.width, shape.height, shape.channels, TypeDesc::FLOAT)));
        EXPECT_EQ(output->geterror(), shape.reason);
        EXPECT_FALSE(std::filesystem::exists(folder.file(shape.name)));
    }
}

TEST(CheckedImageOutput, RefusesOriginsThatTakeAWriterOutOfItsMemory)
{
    TempDir const folder;
    for (char const* name : {"a.gif", "a.dpx", "a.heic", "a.rla", "a.webp"})
        for (auto const& [x, y] : {std::pair(-1, 0), {0, 5}}) {
            auto const output = CheckedImageOutput::make(folder.file(name));
            ASSERT_NE(output, nullptr);
            EXPECT_FALSE(output->open(folder.file(name), picture_spec(4, 3, 3, TypeDesc::UINT8, x, y)));
            EXPECT_EQ(output->geterror(), "files of this format begin at pixel (0, 0)");
        }
    EXPECT_TRUE(open_file(folder.file("a.gif"), 3)->close());
}

/// A copy of `bytes` whose end is that of the memory: whoever reads on is ended.
class LastBytes {
public:
    explicit LastBytes(std::span<std::byte const> bytes)
        : m_size((bytes.size() + kPage - 1) / kPage * kPage)
        , m_pages(static_cast<std::byte*>(
              mmap(nullptr, m_size + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
        , m_begin(m_pages + m_size - bytes.size())
    {
        std::memcpy(m_begin, bytes.data(), bytes.size());
        EXPECT_EQ(mprotect(m_pages + m_size, kPage, PROT_NONE), 0);
    }
    ~LastBytes() { munmap(m_pages, m_size + kPage); }
    LastBytes(LastBytes const&) = delete;

    std::byte const* data() const { return m_begin; }

private:
    static constexpr std::size_t kPage = 4096;
    std::size_t m_size;
    std::byte *m_pages, *m_begin;
};

TEST(CheckedImageOutput, HeifFilesAreWrittenFromRowsThatEndWithTheMemory)
{
    TempDir const folder;
    for (char const* name : {"a.heic", "a.avif"})
        for (int channels : {1, 3, 4})
            for (int width : {1, 5, 63, 65, 127}) {
                constexpr int kHeight = 3;
                std::string const path = folder.file(name);
                auto const bytes = interleaved<std::uint8_t>(0, 0, width, kHeight, channels);
                LastBytes const pixels(std::as_bytes(std::span(bytes)));
                auto output = CheckedImageOutput::make(path);
                ASSERT_TRUE(output->open(path, picture_spec(width, kHeight, channels, TypeDesc::UINT8)));
                EXPECT_TRUE(output->write_image(TypeDesc::UINT8, pixels.data()));
                EXPECT_TRUE(output->write_scanlines(0, kHeight, 0, TypeDesc::UINT8, pixels.data(),
                                                    OIIO::AutoStride, OIIO::AutoStride));
                EXPECT_TRUE(output->write_scanline(kHeight - 1, 0, TypeDesc::UINT8,
                                                   pixels.data() + (kHeight - 1) * width * channels,
                                                   OIIO::AutoStride));
            }
}

/// Samples on both sides of every step between two bytes, and what no byte stands for.
std::vector<float> floats_around_bytes(int count)
{
    std::vector<float> floats{-1.0f, -0.0f, 1.5f, INFINITY, -INFINITY, NAN};
    for (int i = 0; static_cast<int>(floats.size()) < count; ++i) {
        float const step = (static_cast<float>(i % 256) + 0.5f) / 255;
        for (float const sample : {std::nextafter(step, 0.0f), step, std::nextafter(step, 1.0f)})
            floats.push_back(sample);
    }
    floats.resize(static_cast<std::size_t>(count));
    return floats;
}

TEST(CheckedImageOutput, HeifFilesAreThoseOfTheWriterAlone)
{
    constexpr int kWidth = 64, kHeight = 6,
                  kChannels = 3;  // of this width the writer reads no more than it has
    TempDir const folder;
    std::vector<float> const floats = floats_around_bytes(kWidth * kHeight * kChannels);
    std::vector<half> const halves(floats.begin(), floats.end());
    auto const file_of = [&](OIIO::ImageOutput& output, char const* name, TypeDesc type, void const* pixels) {
        std::string const path = folder.file(name);
        OIIO::ImageSpec spec = picture_spec(kWidth, kHeight, kChannels, TypeDesc::UINT8);
        spec.attribute("compression", "none");
        EXPECT_TRUE(output.open(path, spec));
        EXPECT_TRUE(output.write_image(type, pixels));
        EXPECT_TRUE(output.close());
        return file_bytes(path);
    };
    for (char const* name : {"a.heic", "a.avif"})
        for (auto const& [type, pixels] : {std::pair<TypeDesc, void const*>(TypeDesc::FLOAT, floats.data()),
                                           {TypeDesc::HALF, halves.data()},
                                           {TypeDesc::UINT16, halves.data()}}) {
            auto const alone = OIIO::ImageOutput::create(name);
            auto const checked = CheckedImageOutput::make(name);
            EXPECT_EQ(file_of(*checked, name, type, pixels), file_of(*alone, name, type, pixels))
                << name << " of " << type;
        }
}

}  // namespace
