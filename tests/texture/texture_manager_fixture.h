#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/resource/resource_user.h"
#include "image_io/load/image_load_options.h"
#include "image_io/texture/image_io_texture_manager.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"
#include "tests/support/temp_dir.h"

using zv_test::ReadScript;
using zv_test::ScriptedFile;

/// A resource that notes what it is told, and may do something about it.
class User : public ResourceUser {
public:
    void on_resource_file_changed() override
    {
        ++told;
        if (on_change)
            on_change();
    }

    int told = 0;
    std::function<void()> on_change;
};

class TextureManager : public testing::Test {
protected:
    TextureManager() { ImageIOTextureManager::init(); }
    ~TextureManager() override { ImageIOTextureManager::destroy(); }

    static ImageIOTextureManager& manager() { return *ImageIOTextureManager::get_texture_manager(); }

    static ImageLoadOptions options()
    {
        ImageLoadOptions plain;
        plain.color_space = "Linear";
        return plain;
    }
    static ImageCanvas* load(ResourceUser& user, std::string const& path,
                             ImageLoadOptions const& how = options(),
                             ImagePixel::RepeatMode u = ImagePixel::REPEAT_MODE_NONE,
                             ImagePixel::RepeatMode v = ImagePixel::REPEAT_MODE_NONE)
    {
        return manager().load_image(user, path.c_str(), how, nullptr, nullptr, u, v);
    }

    /// A file whose reader counts how often it is opened.
    std::unique_ptr<ScriptedFile> counted(std::string const& name = "picture.zvs")
    {
        ReadScript script;
        script.spec = zv_test::picture_spec(8, 8, 4, OIIO::TypeDesc::FLOAT);
        return std::make_unique<ScriptedFile>(folder, script, name);
    }
    std::string write(std::string const& name)
    {
        zv_test::write_picture(folder.file(name), zv_test::picture_spec(3, 2, 4, OIIO::TypeDesc::FLOAT));
        return folder.file(name);
    }
    /// Gives a file another time.
    static void touch(std::string const& path)
    {
        static int hours = 0;
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() +
                                                   std::chrono::hours(++hours));
    }

    zv_test::TempDir folder;
};
