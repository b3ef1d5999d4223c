#include "image_io/presets/image_io_resolution_preset_manager.h"

bool ImageIOResolutionPresetManager::init_default_verrane_config()
{
    auto const heading = [this](char const* name) { m_default_presets.add({name, 0.0f, -1, -1, true}); };
    auto const preset = [this](char const* name, float aspect_ratio, int width, int height) {
        m_default_presets.add({name, aspect_ratio, width, height, false});
    };
    m_default_presets.resize(0);
    preset("Custom", 0.0f, -1, -1);  // always the first: index 0 means no preset
    heading("Computer");
    preset("VGA (640x480)", 1.0f, 640, 480);
    preset("SVGA (800x600)", 1.0f, 800, 600);
    preset("XGA (1024x768)", 1.0f, 1024, 768);
    heading("Video (SD)");
    preset("NTSC  (720x486)", 0.9f, 720, 486);  // two blanks: names are looked up by exact text
    preset("NTSC wide (720x486)", 1.2f, 720, 486);
    preset("PAL (720x576)", 1.0667f, 720, 576);
    preset("PAL wide (720x576)", 1.4222f, 720, 576);
    heading("Digital Video (HD)");
    preset("1080p (1920x1080)", 1.0f, 1920, 1080);
    preset("720p (1280x720)", 1.0f, 1280, 720);
    heading("Film");
    preset("4k super 35 full ap (4096x3112)", 1.0f, 4096, 3112);
    preset("2k super 35 full ap (2048x1556)", 1.0f, 2048, 1556);
    preset("2K cinemascope (1828x1556)", 1.0f, 1828, 1556);
    preset("4k cinemascope (3656x3112)", 1.0f, 3656, 3112);
    return true;
}
