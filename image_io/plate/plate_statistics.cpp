#include <mutex>

#include "host/sys/sys_statistic.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/log_line.h"
#include "image_io/plate/plate_image_manager.h"

namespace {

template <class... Pieces>
void report(Pieces const&... pieces)
{
    zv_image_io::log_line(zv_image_io::kLogInformation, pieces...);
}

void report_plate(unsigned int index, PlateImage const* plate)
{
    if (!plate) {
        report(index, ": null\n");
        return;
    }
    report("Plate Image #", index, "\n");
    report("    File full path  = ", plate->get_file_path(), "\n");
    if (plate->is_loaded())
        report("    Image size      = ", plate->get_width(), " x ", plate->get_height(), "\n");
    else
        report("    Image size      = ", "not loaded", "\n");
    report("    Memory size     = ", SysStatistic::get_readable_size(plate->get_memory_size()), "\n");
    report("    Requester count = ", plate->get_requester_count(), "\n");
}

}  // namespace

void PlateImageManager::log_statistics() const
{
    if (CoreLogHandler::s_main_log_handler.m_level < zv_image_io::kLogInformation)
        return;
    zv_image_io::guarded([this] {
        // Copies: a listener of the log may come back to the catalogue.
        CoreVector<std::shared_ptr<PlateImage>> plates;
        CoreVector<std::shared_ptr<CoreString const>> paths;
        {
            std::lock_guard const guard(m_lock);
            plates = m_plates;
            paths = m_paths;
        }
        report("**********************************\n");
        report("* Plate Image Manager Statistics *\n");
        report("**********************************\n");
        report("Plate Image count = ", plates.get_count(), "\n");
        for (unsigned int index = 0; index < plates.get_count(); ++index)
            report_plate(index, plates[index].get());
        report("Path count = ", paths.get_count(), "\n");
        for (unsigned int index = 0; index < paths.get_count(); ++index)
            report("Path #", index, ": ", *paths[index], "\n");
        report("Total memory size = ", SysStatistic::get_readable_size(get_memory_size()), "\n");
        report("\n");
    });
}
