// Requests, changed files and memory of ImageIOTextureManager.

#include <stdexcept>

#include "host/image/image_canvas.h"
#include "host/image/image_tile_factory.h"
#include "tests/support/log_capture.h"
#include "tests/texture/texture_manager_fixture.h"
#include "tests/texture/unshared_load.h"

namespace {

TEST_F(TextureManager, TwoUsersOfOneFileShareItsImage)
{
    auto const file = counted();
    User one, other;

    ImageCanvas* const canvas = load(one, file->path());

    ASSERT_NE(canvas, nullptr);
    EXPECT_EQ(load(other, file->path()), canvas);
    EXPECT_EQ(load(one, file->path()), canvas);
    EXPECT_EQ(file->opens(), 1);
    EXPECT_EQ(canvas->get_width(), 8);
}

TEST_F(TextureManager, ImageGoesWithItsLastUser)
{
    auto const file = counted();
    User one, other;
    load(one, file->path());
    load(other, file->path());
    unsigned long long const with_image = manager().get_memory_size();

    manager().remove_requester(&one);
    EXPECT_EQ(manager().get_memory_size(), with_image) << "the other holds it";
    manager().remove_requester(&other);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);

    EXPECT_NE(load(one, file->path()), nullptr);
    EXPECT_EQ(file->opens(), 2) << "loaded anew";
}

TEST_F(TextureManager, TheSameUserTwiceIsOneRequester)
{
    auto const file = counted();
    User user;
    load(user, file->path());
    unsigned long long const before = manager().get_memory_size();

    load(user, file->path());
    load(user, file->path());

    EXPECT_EQ(manager().get_memory_size(), before) << "a second requester would double the list's slots";
    manager().remove_requester(&user);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, AnEmptyPathGivesNothing)
{
    User user;

    EXPECT_EQ(load(user, ""), nullptr);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, OptionsThatCountMakeAnImageOfTheirOwn)
{
    auto const file = counted();
    User user;
    std::vector<ImageCanvas*> found = {load(user, file->path())};
    ImageLoadOptions other = options();
    other.color_space = "sRGB";
    found.push_back(load(user, file->path(), other));
    other = options();
    other.premultiply = true;
    found.push_back(load(user, file->path(), other));
    other = options();
    other.single_channel_mode = 2;
    found.push_back(load(user, file->path(), other));
    found.push_back(load(user, file->path(), options(), ImagePixel::REPEAT_MODE_MIRROR));
    found.push_back(
        load(user, file->path(), options(), ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_MIRROR));

    for (std::size_t one = 0; one < found.size(); ++one) {
        EXPECT_NE(found[one], nullptr);
        for (std::size_t before = 0; before < one; ++before)
            EXPECT_NE(found[one], found[before]) << one << " and " << before;
    }
    EXPECT_EQ(file->opens(), 6);
}

TEST_F(TextureManager, OptionsThatDoNotCountShareTheFirstImage)
{
    auto const file = counted();
    User user;
    ImageCanvas* const first = load(user, file->path());
    CoreVector<CoreString> channels;
    channels.add("g");
    ImageLoadOptions other = options();
    other.force_alpha = true;
    other.channels = &channels;

    EXPECT_EQ(load(user, file->path(), other), first);
    EXPECT_EQ(file->opens(), 1);
}

TEST_F(TextureManager, AFailedLoadIsRememberedUntilItsUsersAreGone)
{
    ReadScript script;
    script.spec = zv_test::picture_spec(8, 8, 4, OIIO::TypeDesc::FLOAT);
    script.opens = false;
    ScriptedFile const file(folder, script);
    User one, other;

    EXPECT_EQ(load(one, file.path()), nullptr);
    EXPECT_EQ(load(other, file.path()), nullptr);
    EXPECT_EQ(load(one, file.path()), nullptr);
    EXPECT_EQ(file.opens(), 1) << "no further try";

    manager().remove_requester(&one);
    EXPECT_EQ(load(other, file.path()), nullptr);
    EXPECT_EQ(file.opens(), 1);
    manager().remove_requester(&other);
    EXPECT_EQ(load(other, file.path()), nullptr);
    EXPECT_EQ(file.opens(), 2) << "forgotten with its last user";
}

TEST_F(TextureManager, LogsNothingOfItsOwn)
{
    std::string const good = write("good.exr"), broken = folder.file("broken.exr");
    zv_test::write_bytes(broken, {'n', 'o', 'p', 'e'});
    User user;
    zv_test::LogCapture log(3);
    for (std::string const& path : {good, broken})
        zv_test::load_and_drop(path, options());
    std::size_t const lines_of_the_loads = log.lines().size();
    ASSERT_GT(lines_of_the_loads, 0u);

    for (std::string const& path : {good, broken, good, broken})
        load(user, path);
    touch(good);
    manager().check_external_file_modification();
    manager().remove_requester(&user);

    EXPECT_EQ(log.lines().size(), 2 * lines_of_the_loads) << "one load of each file, and nothing else";
}

TEST_F(TextureManager, AUserThatDiesIsTakenOut)
{
    auto const file = counted();
    auto one = std::make_unique<User>();
    User other;
    load(*one, file->path());
    load(other, file->path());

    one.reset();
    manager().check_external_file_modification();
    EXPECT_EQ(load(other, file->path())->get_width(), 8);
    EXPECT_EQ(file->opens(), 1);

    manager().remove_requester(&other);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, RemovingAStrangerLeavesAllAsItIs)
{
    auto const file = counted();
    User user, stranger;
    ImageCanvas* const canvas = load(user, file->path());

    manager().remove_requester(&stranger);
    manager().remove_requester(nullptr);

    EXPECT_EQ(load(user, file->path()), canvas);
    EXPECT_EQ(file->opens(), 1);
}

TEST_F(TextureManager, UsersThatWereRemovedMayDieLater)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    load(*user, file->path());
    manager().remove_requester(user.get());
    User other;
    ImageCanvas* const canvas = load(other, file->path());

    user.reset();

    EXPECT_EQ(load(other, file->path()), canvas);
}

TEST_F(TextureManager, FreedImagesGiveTheirTilesBack)
{
    User user, stranger;
    auto const statistics = [] { return ImageTileFactory::get().get_statistics(); };
    std::string const path = write("tiles.exr");
    auto const in_use_before = statistics().tiles_in_use;
    zv_test::load_and_drop(path, options());
    ASSERT_GT(statistics().tiles_kept, 0u) << "tiles that wait for the next image";

    manager().remove_requester(&stranger);
    EXPECT_GT(statistics().tiles_kept, 0u) << "nothing was freed";

    load(user, path);
    EXPECT_GT(statistics().tiles_in_use, in_use_before);
    manager().remove_requester(&user);
    EXPECT_EQ(statistics().tiles_in_use, in_use_before);
    EXPECT_EQ(statistics().tiles_kept, 0u);
}

// Changed files

TEST_F(TextureManager, TellsTheUsersOfAChangedFile)
{
    std::string const changing = write("changing.exr"), quiet = write("quiet.exr");
    User one, other, aside;
    load(one, changing);
    load(other, changing);
    load(aside, quiet);

    manager().check_external_file_modification();
    EXPECT_EQ(one.told, 0);

    touch(changing);
    manager().check_external_file_modification();
    EXPECT_EQ(one.told, 1);
    EXPECT_EQ(other.told, 1);
    EXPECT_EQ(aside.told, 0);

    manager().check_external_file_modification();
    EXPECT_EQ(one.told, 1) << "once for each change";
}

TEST_F(TextureManager, UsersAreToldInTheOrderOfTheirArrival)
{
    std::string const path = write("changing.exr");
    std::vector<int> order;
    std::vector<std::unique_ptr<User>> users;
    for (int number : {2, 0, 1}) {
        users.push_back(std::make_unique<User>());
        users.back()->on_change = [&order, number] { order.push_back(number); };
        load(*users.back(), path);
    }

    touch(path);
    manager().check_external_file_modification();

    EXPECT_EQ(order, (std::vector<int>{2, 0, 1}));
}

TEST_F(TextureManager, AUserThatThrowsWhenItIsToldKeepsNobodyFromHearing)
{
    std::string const paths[] = {write("a.exr"), write("b.exr")};
    User throwing, other;
    throwing.on_change = [] { throw std::runtime_error("no"); };
    for (std::string const& path : paths) {
        load(throwing, path);
        load(other, path);
        touch(path);
    }

    manager().check_external_file_modification();

    EXPECT_EQ(throwing.told, 2);
    EXPECT_EQ(other.told, 2);
}

TEST_F(TextureManager, AChangedImageIsNotLoadedAnew)
{
    auto const file = counted();
    User user;
    ImageCanvas* const canvas = load(user, file->path());

    touch(file->path());
    manager().check_external_file_modification();

    EXPECT_EQ(user.told, 1);
    EXPECT_EQ(load(user, file->path()), canvas);
    EXPECT_EQ(file->opens(), 1);
}

TEST_F(TextureManager, AFileThatVanishesTellsNothingUntilItIsBack)
{
    std::string const path = write("vanishing.exr");
    User user;
    load(user, path);

    std::filesystem::remove(path);
    manager().check_external_file_modification();
    EXPECT_EQ(user.told, 0);

    write("vanishing.exr");
    touch(path);
    manager().check_external_file_modification();
    EXPECT_EQ(user.told, 1);
}

TEST_F(TextureManager, AFileThatAppearsCountsAsChanged)
{
    User user;
    EXPECT_EQ(load(user, folder.file("later.exr")), nullptr);
    manager().check_external_file_modification();
    EXPECT_EQ(user.told, 0);

    write("later.exr");
    manager().check_external_file_modification();
    EXPECT_EQ(user.told, 1);
    EXPECT_EQ(load(user, folder.file("later.exr")), nullptr) << "the failed load is still known";
}

TEST_F(TextureManager, AFailedLoadKeepsNoTime)
{
    std::string const path = folder.file("broken.exr");
    zv_test::write_bytes(path, {'n', 'o', 'p', 'e'});
    User user;
    EXPECT_EQ(load(user, path), nullptr);

    manager().check_external_file_modification();

    EXPECT_EQ(user.told, 1) << "its time differs from the unknown one";
}

TEST_F(TextureManager, UsersMayLeaveWhileTheyAreTold)
{
    std::string const path = write("changing.exr");
    auto one = std::make_unique<User>(), other = std::make_unique<User>();
    User last;
    load(*one, path);
    load(*other, path);
    load(last, path);
    one->on_change = [&] {
        manager().remove_requester(one.get());
        other.reset();
    };

    touch(path);
    manager().check_external_file_modification();

    EXPECT_EQ(one->told, 1);
    EXPECT_EQ(last.told, 1);
}

TEST_F(TextureManager, TheLastUserMayLeaveWhileItIsTold)
{
    std::string const paths[] = {write("a.exr"), write("b.exr"), write("c.exr")};
    User user, other;
    for (std::string const& path : paths) {
        load(user, path);
        touch(path);
    }
    load(other, paths[2]);
    user.on_change = [&] { manager().remove_requester(&user); };

    manager().check_external_file_modification();

    EXPECT_EQ(user.told, 1) << "it had left everything by then";
    EXPECT_EQ(other.told, 1);
}

TEST_F(TextureManager, AUserMayLoadAnewWhileItIsTold)
{
    auto const file = counted();
    User user;
    load(user, file->path());
    user.on_change = [&] {
        manager().remove_requester(&user);
        EXPECT_NE(load(user, file->path()), nullptr);
    };

    touch(file->path());
    manager().check_external_file_modification();

    EXPECT_EQ(user.told, 1);
    EXPECT_EQ(file->opens(), 2);
}

// Memory

/// What the report counts for one image: canvas, path, item and requesters.
unsigned long long item_size(ImageCanvas const* canvas, CoreString const& path, unsigned requester_slots)
{
    return (canvas ? canvas->get_memory_size() : 0) + path.m_capacity + 24 + (requester_slots ? 28 : 16) +
           8 * requester_slots;
}

TEST_F(TextureManager, MemoryOfADenseTable)
{
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u) << "no table yet";
    auto const file = counted();
    CoreString const path = file->path().c_str();
    CoreString const copy = path;
    User one, other, third;

    ImageCanvas* const canvas = load(one, file->path());
    EXPECT_EQ(manager().get_memory_size(), 40 + 25 + item_size(canvas, copy, 1));
    load(other, file->path());
    EXPECT_EQ(manager().get_memory_size(), 40 + 25 + item_size(canvas, copy, 2));
    load(third, file->path());
    EXPECT_EQ(manager().get_memory_size(), 40 + 25 + item_size(canvas, copy, 4)) << "slots double";

    CoreString const missing = folder.file("missing.exr").c_str();
    CoreString const missing_copy = missing;
    load(one, missing.get_data());
    EXPECT_EQ(manager().get_memory_size(),
              40 + 25 + item_size(canvas, copy, 4) + item_size(nullptr, missing_copy, 1))
        << "a failed load counts as one of no bytes, and the table's part does not grow";
}

TEST_F(TextureManager, The257thImageMakesTheTableSparseAndThe255thDenseAgain)
{
    std::vector<std::unique_ptr<User>> users;
    unsigned long long items = 0;
    auto const add = [&](int number) {
        users.push_back(std::make_unique<User>());
        CoreString const path = folder.file("missing" + std::to_string(1000 + number) + ".exr").c_str();
        load(*users.back(), path.get_data());
        CoreString const copy = path;
        items += item_size(nullptr, copy, 1);
        return copy;
    };
    CoreString path;
    zv_test::LogCapture quiet(0);
    for (int number = 0; number < 256; ++number)
        path = add(number);
    unsigned long long const item = items / 256;
    EXPECT_EQ(manager().get_memory_size(), 40 + 25 + items) << "dense with 256";

    add(256);
    // 257 slots: 80 percent are 205, so filling the table made it grow, by 1.8 times itself each time.
    unsigned long long const sparse = manager().get_memory_size() - 40 - items;
    EXPECT_GT(sparse, 57 + 257ull * (4 + 16 + 8));
    CoreHashTable<CoreString, int> reference;
    for (int number = 0; number < 257; ++number) {
        CoreString key = folder.file("missing" + std::to_string(1000 + number) + ".exr").c_str();
        key += "#Linear#";
        key += false;
        key += "#1#";
        key += static_cast<int>(ImagePixel::REPEAT_MODE_NONE);
        key += "#";
        key += static_cast<int>(ImagePixel::REPEAT_MODE_NONE);
        reference.insert(key, number);
    }
    ASSERT_NE(reference.get_sparse(), nullptr);
    unsigned long long slots = 48 + 9;
    for (unsigned slot = 0; slot < reference.get_sparse()->m_capacity; ++slot)
        slots += 4 + 16 + 8;
    unsigned long long keys = sparse - slots;
    EXPECT_GE(keys, 257ull * path.length()) << "and the capacities of the keys";

    manager().remove_requester(users[0].get());
    EXPECT_GT(manager().get_memory_size(), 40 + slots) << "sparse with 256";
    manager().remove_requester(users[1].get());
    EXPECT_EQ(manager().get_memory_size(), 40 + 25 + 255 * item) << "dense with 255";

    for (auto& user : users)
        user.reset();
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

}  // namespace
