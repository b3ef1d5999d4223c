#pragma once

#include <memory>
#include <unordered_set>

#include "host/core/core_hash_table.h"
#include "host/core/core_string.h"
#include "host/event/event_object.h"
#include "host/image/image_pixel.h"
#include "host/sys/sys_thread_lock_recursive.h"
#include "image_io/frame/export.h"

class AppProgressBar;
class ImageCanvas;
class OfApp;
class ResourceUser;
struct ImageLoadOptions;

/// Loaded images that resources share: the first who asks for a file loads it, the last who goes frees it.
///
/// A request is known by path, colour space, `premultiply`, `single_channel_mode` and both repeat modes; other
/// options do not tell two requests apart. A load that failed is known as well: it gives null until all who asked
/// for it are gone.
///
/// Owns     the canvases; users are borrowed, and taken out when they raise "EVT_ID_DESTROY"
/// Errors   nothing throws; null
/// Threads  any number, one load at a time, also with copies; who makes, assigns or destroys a manager sees to it that
///          nobody else uses it meanwhile
class ZV_IMAGE_IO_EXPORT ImageIOTextureManager {
public:
    /// Makes the instance; one that there is ends first.
    static void init();
    /// Frees all images and lets go of all users. The pointer stays good: what is left gives null to every request,
    /// until `init`.
    static void destroy();
    /// Null before `init`.
    static ImageIOTextureManager* get_texture_manager();

    ImageIOTextureManager();
    ~ImageIOTextureManager();
    /// A copy shares the images and the lock: an image is freed by the last of them, and its users are heard by all of
    /// them.
    ImageIOTextureManager(ImageIOTextureManager const& other);
    ImageIOTextureManager& operator=(ImageIOTextureManager const& other);

    /// The shared image, good until `user` is removed; null for an empty path or a file that does not load. What
    /// lacks a part, or fails, because there was no memory is not shared, but loaded again when somebody asks next.
    ImageCanvas* load_image(ResourceUser& user, CoreString const& path, ImageLoadOptions const& options,
                            OfApp* app, AppProgressBar* progress, ImagePixel::RepeatMode u,
                            ImagePixel::RepeatMode v);

    /// Takes a user out of everything. Images that nobody uses any more are freed.
    void remove_requester(EventObject* user);

    /// Tells the users of every file that has changed since it was last looked at. Nothing is loaded anew: that is up
    /// to them. They may leave, or others may, in what they do about it; what they throw is dropped.
    void check_external_file_modification();

    /// Bytes held by table, items and images.
    unsigned long long get_memory_size() const;

private:
    struct TextureItem;
    using Table = CoreHashTable<CoreString, TextureItem*>;

    static void on_user_destroyed(EventObject& sender, EventObject::EventInfo const& info, void* manager);

    std::unique_ptr<TextureItem> load_item(CoreString const& path, ImageLoadOptions const& options,
                                           OfApp* app, AppProgressBar* progress, ImagePixel::RepeatMode u,
                                           ImagePixel::RepeatMode v);
    TextureItem* add_item(CoreString const& key, std::unique_ptr<TextureItem> item);
    void add_requester(TextureItem& item, ResourceUser& user);
    void watch(EventObject& user);
    void tell_requesters(CoreString const& key);
    TextureItem* take_unused();
    void end();
    static void free_items(TextureItem* items);
    void share_items(ImageIOTextureManager const& other);

    Table m_items;
    std::unordered_set<EventObject*> m_connected_users;  // they tell this manager when they go
    std::shared_ptr<SysThreadLockRecursive> m_lock = std::make_shared<SysThreadLockRecursive>();
    bool m_has_ended = false;

    static ImageIOTextureManager* s_manager;
};
