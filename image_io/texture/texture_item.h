#pragma once

#include <memory>
#include <vector>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/image/image_canvas.h"
#include "host/resource/resource_user.h"
#include "image_io/texture/image_io_texture_manager.h"

/// A shared image, or a load that failed.
struct ImageIOTextureManager::TextureItem {
    std::unique_ptr<ImageCanvas> canvas;          // null if the load failed
    CoreVector<ResourceUser*> requesters;         // in the order of their arrival
    CoreString path;                              // as it was asked for
    CoreString key;                               // under which the tables have it
    long long modification_time = 0;              // as the file system tells it; 0 if unknown
    std::vector<ImageIOTextureManager*> holders;  // those that have it in their tables
    TextureItem* next_unused = nullptr;           // while it is taken out of them, and freed

    /// True if the user was there. The others keep their order.
    bool remove(EventObject const* user)
    {
        for (unsigned int index = 0; index < requesters.get_count(); ++index)
            if (requesters[index] == user) {
                requesters.remove_at(index);
                return true;
            }
        return false;
    }

    /// True if that was the last manager.
    bool leave(ImageIOTextureManager const& manager)
    {
        std::erase(holders, &manager);
        return holders.empty();
    }
};
