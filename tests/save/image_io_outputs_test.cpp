#include "image_io/save/image_io_outputs.h"

#include <filesystem>

#include "tests/save/exr_saves.h"

namespace {

using namespace zv_test;
using Lines = std::vector<LogLine>;

ImageIOOutput* closed_output(char const* name)
{
    return new ImageIOOutput(nullptr, "image", name, nullptr);
}

TEST(ImageIOOutputs, BeginEmpty)
{
    ImageIOOutputs outputs;
    ImageEvalContext context;

    EXPECT_EQ(outputs.get_count(), 0u);
    EXPECT_FALSE(outputs.is_valid());
    EXPECT_EQ(outputs.write_region(context, rectangle(0, 0, 1, 1)), ImageIO::SAVING_STATUS_SUCCESS);
}

TEST(ImageIOOutputs, KeepTheOrderAndCloseInIt)
{
    LogCapture const log;
    {
        ImageIOOutputs outputs;
        for (char const* name : {"a", "b", "c"})
            outputs.add_new(closed_output(name));
        EXPECT_EQ(outputs.get_count(), 3u);
        EXPECT_TRUE(outputs.is_valid());
        EXPECT_EQ(outputs[1].get_filename(), "b");
    }
    EXPECT_EQ(log.lines(), (Lines{{3, "Closed 'a'.\n"}, {3, "Closed 'b'.\n"}, {3, "Closed 'c'.\n"}}));
}

TEST(ImageIOOutputs, CopiesShareTheirOutputs)
{
    LogCapture const log;
    {
        ImageIOOutputs copy;
        {
            ImageIOOutputs outputs;
            outputs.add_new(closed_output("a"));
            ImageIOOutputs const second(outputs);
            copy = second;
            EXPECT_EQ(&copy[0], &outputs[0]);
        }
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(copy[0].get_filename(), "a");
    }
    EXPECT_EQ(log.lines(), (Lines{{3, "Closed 'a'.\n"}}));
}

TEST(ImageIOOutputs, PastTheEndThereIsAnOutputThatDoesNothing)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    ImageIOOutputs outputs;
    outputs.add_new(closed_output("a"));
    outputs.add_new(nullptr);

    for (unsigned int index : {1u, 2u, 0xffffffffu}) {
        ImageIOOutput& output = outputs[index];
        EXPECT_EQ(output.get_filename(), "");
        EXPECT_FALSE(output.open(&app, exr_options(), picture.window, picture.window, 16));
        EXPECT_EQ(output.write(picture.context, nullptr), ImageIO::SAVING_STATUS_WRITE_FAILED);
        EXPECT_EQ(output.write_region(picture.context, picture.window, nullptr),
                  ImageIO::SAVING_STATUS_WRITE_FAILED);
        EXPECT_EQ(output.get_write_type(), ImageIOOutput::WRITE_TYPE_CLOSED);
    }
}

TEST(ImageIOOutputs, TheFirstFailureEndsARegion)
{
    TempDir const folder;
    OfApp app;
    SavePicture picture({});
    ImageIOOutputs outputs;
    for (char const* name : {"a.exr", "b.exr", "c.exr"}) {
        auto output = picture.output(folder.file(name));
        ASSERT_TRUE(output->open(&app, exr_options(), picture.window, picture.window, 16));
        outputs.add_new(output.release());
    }
    outputs.add_new(nullptr);
    EXPECT_EQ(outputs.write_region(picture.context, rectangle(0, 0, 47, 16)), ImageIO::SAVING_STATUS_SUCCESS);
    ASSERT_EQ(outputs[1].write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
    LogCapture const log;

    EXPECT_EQ(outputs.write_region(picture.context, rectangle(0, 16, 47, 16)),
              ImageIO::SAVING_STATUS_WRITE_FAILED);

    EXPECT_EQ(log.lines(), (Lines{{3, "Saving scanline region (0, 16, 47, 16)...\n"},
                                  {1, "Failed to write '" + folder.file("b.exr") + "'.\n"}}));
    // The others go on.
    EXPECT_EQ(outputs[0].write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
    EXPECT_EQ(outputs[2].write(picture.context, nullptr), ImageIO::SAVING_STATUS_SUCCESS);
    for (char const* name : {"a.exr", "b.exr", "c.exr"})
        expect_channels(read_exr(folder.file(name)), picture.shape, {"R", "G", "B", "A"});
}

}  // namespace
