#include <host/zv_host.h>
#include <image_io/zv_image_io.h>
#include <memory>

// A picture of 256 by 128 whose red is a texture, delivered bucket by bucket.
int main(int, char** argv)
{
    // Start. The application's settings tell the module how files are to be laid out.
    OfApp app;
    app.tiling_mode = 1;
    ImageIO::init(&app);
    ImageIOTextureManager::init();

    // Share an image: whoever asks for the same file gets the same canvas.
    ResourceUser material;
    ImageLoadOptions load;
    load.color_space = ImageIO::get_color_space_from_file(argv[1]);
    auto const none = ImagePixel::REPEAT_MODE_NONE;
    ImageCanvas const* const shared = ImageIOTextureManager::get_texture_manager()->load_image(
        material, argv[1], load, &app, nullptr, none, none);
    if (!shared)
        return 1;

    // The frame buffer: a canvas of float channels in tiles of 64.
    ImageCanvas frame(false);
    GMathVec4<int> const window(0, 0, 256, 128);
    frame.create_image(&window, ImagePixel::DEPTH_RGBA, ImagePixel::BIT_DEPTH_32, ImagePixel::BIT_TYPE_FLOAT,
                       64);

    // Open the file before the first pixel is there.
    ImageSaveOptions save;
    save.format = ImageIOFileFormat::SAVE_EXR16;
    save.compression = ImageIOFileFormat::COMPRESSION_ZIP;
    save.color_space = "";  // as it is in memory
    ImageIOOutputs outputs;
    if (ImageIOSave::build_outputs(&app, save, argv[2], frame.get_map(), window, window, outputs) !=
        ImageIO::SAVING_STATUS_SUCCESS)
        return 2;

    // Render: look the texture up, fill a bucket, write it.
    ImageIOTextureStream& textures = *ImageIOTextureStream::get_texture_stream();
    UniqueString const texture(argv[1]);
    ImageEvalContext context(frame, 0);
    for (int y = 0; y < 128; y += 64)
        for (int x = 0; x < 256; x += 64) {
            float bucket[64 * 64];
            for (int pixel = 0; pixel < 64 * 64; ++pixel) {
                MapEvalCtx lookup;
                lookup.u = (x + pixel % 64 + 0.5) / 256 - 0.5;
                lookup.v = 0.5 - (y + pixel / 64 + 0.5) / 128;
                lookup.dudx = 1.0 / 256;
                lookup.dvdy = -1.0 / 128;
                float color[4];
                textures.evaluate(texture, lookup, 3, 3, 3, 3, color);  // periodic, smart bicubic, trilinear
                bucket[pixel] = color[0];
            }
            GMathVec4<int> const region(x, y, 64, 64);
            ImageMapChannel* const red = frame.get_image()->get_channel_by_name("r");
            red->fill_tiles(reinterpret_cast<unsigned char const*>(bucket), region, false);
            if (ImageIOSave::save_region(&app, outputs, context, region, nullptr) !=
                ImageIO::SAVING_STATUS_SUCCESS)
                return 3;
        }

    // Finish the file. Success means that every byte is in it.
    if (ImageIOSave::save(&app, outputs, context, nullptr) != ImageIO::SAVING_STATUS_SUCCESS)
        return 4;

    // Stop, in the order in which things were used.
    ImageIOTextureManager::get_texture_manager()->remove_requester(&material);
    ImageIOTextureManager::destroy();
    ImageIOTextureStream::destroy();
    ImageIOResolutionPresetManager::destroy();
    return 0;
}
