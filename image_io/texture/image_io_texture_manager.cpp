#include "image_io/texture/image_io_texture_manager.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "host/image/image_tile_factory.h"
#include "host/sys/sys_filesystem.h"
#include "image_io/frame/event_table.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/texture/texture_item.h"
#include "image_io/texture/texture_key.h"

using zv_image_io::guarded;
using zv_image_io::kEventDestroy;

using Guard = std::lock_guard<SysThreadLockRecursive>;

namespace {

/// Made for the first connection, so that it takes no memory to end one.
CoreString const& destroy_event()
{
    static CoreString const& name = *new CoreString(kEventDestroy);  // static objects may outlive all others
    return name;
}

}  // namespace

ImageIOTextureManager* ImageIOTextureManager::s_manager = nullptr;

// The instance, once made, stays until the process ends, so that whoever kept the pointer finds something there.
void ImageIOTextureManager::init()
{
    guarded([] {
        if (!s_manager)
            s_manager = new ImageIOTextureManager;
        s_manager->end();
        s_manager->m_has_ended = false;
    });
}

void ImageIOTextureManager::destroy()
{
    if (s_manager)
        guarded([] { s_manager->end(); });
}

ImageIOTextureManager* ImageIOTextureManager::get_texture_manager()
{
    return s_manager;
}

ImageIOTextureManager::ImageIOTextureManager() = default;

ImageIOTextureManager::~ImageIOTextureManager()
{
    guarded([this] { end(); });
}

ImageIOTextureManager::ImageIOTextureManager(ImageIOTextureManager const& other)
    : m_lock(other.m_lock)
{
    guarded([&] { share_items(other); });
}

ImageIOTextureManager& ImageIOTextureManager::operator=(ImageIOTextureManager const& other)
{
    if (this == &other)
        return *this;
    guarded([&] {
        end();
        m_lock = other.m_lock;
        share_items(other);
    });
    return *this;
}

void ImageIOTextureManager::share_items(ImageIOTextureManager const& other)
{
    Guard const guard(*m_lock);
    Table items = other.m_items;
    // What may fail fails before anything is changed.
    items.for_each([this](CoreString const&, TextureItem* const& item) {
        item->holders.reserve(item->holders.size() + 1);
        for (ResourceUser* const user : item->requesters)
            watch(*user);
    });
    items.for_each([this](CoreString const&, TextureItem* const& item) { item->holders.push_back(this); });
    m_items = std::move(items);
    m_has_ended = other.m_has_ended;
}

/// The table is empty before the first image goes: what its end sets off may come back here. Needs no memory: nobody
/// comes back for what is left behind.
void ImageIOTextureManager::end()
{
    Guard const guard(*m_lock);
    m_has_ended = true;
    Table const items = std::exchange(m_items, Table());
    for (EventObject* const user : std::exchange(m_connected_users, {}))
        EventObject::disconnect(*user, destroy_event(), &on_user_destroyed, this);
    TextureItem* unowned = nullptr;
    TextureItem** last = &unowned;
    items.for_each([&](CoreString const&, TextureItem* const& item) {
        if (!item->leave(*this))
            return;
        item->next_unused = nullptr;
        *last = item;
        last = &item->next_unused;
    });
    free_items(unowned);
}

/// Frees images that are linked and in no table any more: what the end of a canvas sets off may come back here.
void ImageIOTextureManager::free_items(TextureItem* items)
{
    while (items)
        delete std::exchange(items, items->next_unused);
}

ImageCanvas* ImageIOTextureManager::load_image(ResourceUser& user, CoreString const& path,
                                               ImageLoadOptions const& options, OfApp* app,
                                               AppProgressBar* progress, ImagePixel::RepeatMode u,
                                               ImagePixel::RepeatMode v)
{
    if (path.is_empty())
        return nullptr;
    return guarded(static_cast<ImageCanvas*>(nullptr), [&]() -> ImageCanvas* {
        CoreString const key = zv_image_io::texture_key(path, options, u, v);
        // The load runs inside the lock, so that no file is read twice at once.
        Guard const guard(*m_lock);
        if (m_has_ended)
            return nullptr;
        TextureItem* const* const known = m_items.find(key);
        TextureItem* const item =
            known ? *known : add_item(key, load_item(path, options, app, progress, u, v));
        if (!item)
            return nullptr;
        add_requester(*item, user);
        return item->canvas.get();
    });
}

std::unique_ptr<ImageIOTextureManager::TextureItem>
ImageIOTextureManager::load_item(CoreString const& path, ImageLoadOptions const& options, OfApp* app,
                                 AppProgressBar* progress, ImagePixel::RepeatMode u, ImagePixel::RepeatMode v)
{
    auto item = std::make_unique<TextureItem>();
    item->holders.push_back(this);
    ImageLoadReport report;
    item->canvas.reset(ImageIO::load_image(path, options, app, progress, u, v, report));
    // Nobody would know: whoever asks next may get a whole one.
    if (report.has_lacked_memory || report.has_dropped_errors)
        throw std::bad_alloc();
    item->path = path;
    long long time = 0;
    if (item->canvas && SysFilesystem::get_file_modification_time(path, time))
        item->modification_time = time;
    return item;
}

ImageIOTextureManager::TextureItem* ImageIOTextureManager::add_item(CoreString const& key,
                                                                    std::unique_ptr<TextureItem> item)
{
    // The load may have come back here through its progress bar: and ended the manager, or asked for the same file.
    if (m_has_ended)
        return nullptr;
    if (TextureItem* const* const known = m_items.find(key))
        return *known;
    item->key = key;
    m_items.insert(key, item.get());
    return item.release();
}

void ImageIOTextureManager::add_requester(TextureItem& item, ResourceUser& user)
{
    if (item.requesters.find_index(&user) != 0xFFFFFFFFu)
        return;
    // First: nobody must be in the list whose end is not heard of. All who have the item hear of it, since any may end.
    for (ImageIOTextureManager* const holder : item.holders)
        holder->watch(user);
    item.requesters.add(&user);
}

void ImageIOTextureManager::watch(EventObject& user)
{
    if (!m_connected_users.insert(&user).second)
        return;
    try {
        EventObject::connect(user, destroy_event(), &on_user_destroyed, this);
    } catch (...) {
        m_connected_users.erase(&user);
        throw;
    }
}

void ImageIOTextureManager::on_user_destroyed(EventObject& sender, EventObject::EventInfo const& info,
                                              void* manager)
{
    if (info.m_name == kEventDestroy)
        static_cast<ImageIOTextureManager*>(manager)->remove_requester(&sender);
}

/// Takes the images out of the table that nobody uses any more, and gives those that no other manager has either, linked
/// in the order of the table. Needs no memory: a user that goes must not stay because there is none.
ImageIOTextureManager::TextureItem* ImageIOTextureManager::take_unused()
{
    TextureItem* unused = nullptr;
    m_items.for_each([&unused](CoreString const&, TextureItem* const& item) {
        if (item->requesters.is_empty())
            item->next_unused = std::exchange(unused, item);
    });
    TextureItem* unowned = nullptr;
    while (unused) {
        TextureItem* const item = std::exchange(unused, unused->next_unused);
        // Without memory for another form the table keeps the one it has; the entry is out all the same.
        guarded([&] { m_items.remove(item->key); });
        if (item->leave(*this))
            item->next_unused = std::exchange(unowned, item);
    }
    return unowned;
}

void ImageIOTextureManager::remove_requester(EventObject* user)
{
    if (!user)
        return;
    guarded([&] {
        Guard const guard(*m_lock);
        bool has_unused = false;
        m_items.for_each([&](CoreString const&, TextureItem* const& item) {
            item->remove(user);
            has_unused |= item->requesters.is_empty();
        });
        EventObject::disconnect(*user, destroy_event(), &on_user_destroyed, this);
        m_connected_users.erase(user);
        if (!has_unused)
            return;
        free_items(take_unused());
        if (!ImageTileFactory::s_factory)
            ImageTileFactory::init();
        ImageTileFactory::s_factory->free_unused_tiles(false);
    });
}

void ImageIOTextureManager::check_external_file_modification()
{
    guarded([this] {
        std::vector<CoreString> keys;
        {
            Guard const guard(*m_lock);
            m_items.for_each([&keys](CoreString const& key, TextureItem* const&) { keys.push_back(key); });
        }
        for (CoreString const& key : keys)
            guarded([&] { tell_requesters(key); });  // who is not told now is told the next time
    });
}

/// Users are told outside of the lock, one by one, as long as they are there: each of them may remove others.
void ImageIOTextureManager::tell_requesters(CoreString const& key)
{
    CoreVector<ResourceUser*> requesters;
    {
        Guard const guard(*m_lock);
        TextureItem* const* const item = m_items.find(key);
        long long time = 0;
        if (!item || !SysFilesystem::get_file_modification_time((*item)->path, time) ||
            time == (*item)->modification_time)
            return;
        requesters = (*item)->requesters;
        (*item)->modification_time = time;
    }
    for (ResourceUser* const user : requesters) {
        {
            Guard const guard(*m_lock);
            TextureItem* const* const item = m_items.find(key);
            if (!item || (*item)->requesters.find_index(user) == 0xFFFFFFFFu)
                continue;
        }
        guarded([user] { user->on_resource_file_changed(); });
    }
}

/// The numbers are those of the application's memory reports: what the records take there, however they look here.
unsigned long long ImageIOTextureManager::get_memory_size() const
{
    constexpr unsigned long long kNoTable = 9, kDenseTable = 25, kSparseTable = 48 + 9;
    Guard const guard(*m_lock);
    unsigned long long bytes = 40;
    if (auto const* const sparse = m_items.get_sparse()) {
        bytes += kSparseTable;
        for (unsigned int slot = 0; slot < sparse->m_capacity; ++slot)
            bytes += 4 + 16 + sparse->m_slots[slot].key.m_capacity + 8;
    } else {
        bytes += m_items.get_dense() ? kDenseTable : kNoTable;
    }
    m_items.for_each([&bytes](CoreString const&, TextureItem* const& item) {
        unsigned int const requester_slots = item->requesters.get_capacity();
        bytes += (item->canvas ? item->canvas->get_memory_size() : 0) + item->path.m_capacity + 24 +
                 (requester_slots ? 28 : 16) + 8ull * requester_slots;
    });
    return bytes;
}
