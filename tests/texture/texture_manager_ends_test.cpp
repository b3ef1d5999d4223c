// Beginnings, ends and copies of ImageIOTextureManager, and threads.

#include <atomic>
#include <thread>
#include <vector>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_canvas.h"
#include "tests/texture/texture_manager_fixture.h"

namespace {

// What the end of a canvas may set off

TEST_F(TextureManager, TheEndOfAnImageMayRemoveOtherUsers)
{
    auto const first = counted("first.zvs"), second = counted("second.zvs");
    auto one = std::make_unique<User>(), other = std::make_unique<User>();
    ImageCanvas* const canvas = load(*one, first->path());
    load(*other, second->path());
    EventObject::connect(
        *canvas, "EVT_ID_DESTROY",
        [](EventObject&, EventObject::EventInfo const&, void* user) {
            static_cast<std::unique_ptr<User>*>(user)->reset();
        },
        &other);

    manager().remove_requester(one.get());

    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, TheEndOfAnImageMayRemoveItsOwnUserAgain)
{
    auto const file = counted();
    User user;
    ImageCanvas* const canvas = load(user, file->path());
    EventObject::connect(
        *canvas, "EVT_ID_DESTROY",
        [](EventObject&, EventObject::EventInfo const&, void* same) {
            ImageIOTextureManager::get_texture_manager()->remove_requester(static_cast<User*>(same));
        },
        &user);

    manager().remove_requester(&user);

    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

// Beginnings and ends

TEST_F(TextureManager, DestroyFreesAllAndLetsGoOfItsUsers)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    ImageIOTextureManager* const before = ImageIOTextureManager::get_texture_manager();
    load(*user, file->path());

    ImageIOTextureManager::destroy();
    EXPECT_EQ(ImageIOTextureManager::get_texture_manager(), before) << "the pointer stays as it is";
    EXPECT_EQ(before->get_memory_size(), 40u + 9u);
    EXPECT_EQ(load(*user, file->path()), nullptr) << "until the next beginning";
    EXPECT_EQ(file->opens(), 1);
    ImageIOTextureManager::destroy();
    before->check_external_file_modification();
    before->remove_requester(user.get());
    user.reset();

    ImageIOTextureManager::init();
    User next;
    EXPECT_NE(load(next, file->path()), nullptr);
    EXPECT_EQ(file->opens(), 2);
    manager().remove_requester(&next);
}

TEST_F(TextureManager, ASecondBeginningEndsTheFirst)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    load(*user, file->path());

    ImageIOTextureManager::init();

    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
    EXPECT_NE(load(*user, file->path()), nullptr);
    EXPECT_EQ(file->opens(), 2);
    user.reset();
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, UsersMayOutliveAManagerOfTheirOwn)
{
    auto const file = counted();
    auto own = std::make_unique<ImageIOTextureManager>();
    auto user = std::make_unique<User>();
    EXPECT_NE(own->load_image(*user, file->path().c_str(), options(), nullptr, nullptr,
                              ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE),
              nullptr);

    own.reset();
    user.reset();
    EXPECT_EQ(file->closes(), file->opens());
}

TEST_F(TextureManager, CopiesShareImagesAndFreeThemOnce)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    ImageCanvas* const canvas = load(*user, file->path());
    auto copy = std::make_unique<ImageIOTextureManager>(manager());
    ImageIOTextureManager assigned;
    assigned = *copy;
    assigned = *&assigned;

    User other;
    EXPECT_EQ(copy->load_image(other, file->path().c_str(), options(), nullptr, nullptr,
                               ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE),
              canvas);
    EXPECT_EQ(file->opens(), 1);
    manager().remove_requester(user.get());
    manager().remove_requester(&other);
    EXPECT_EQ(canvas->get_width(), 8) << "the copies hold it";
    copy.reset();
    EXPECT_EQ(canvas->get_width(), 8);
    user.reset();
    ImageIOTextureManager::destroy();
}

TEST_F(TextureManager, AUserOfACopyThatIsGoneDiesInPeace)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    load(*user, file->path());
    {
        ImageIOTextureManager copy(manager());
        User passing;
        copy.load_image(passing, file->path().c_str(), options(), nullptr, nullptr,
                        ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE);
        copy.load_image(*user, folder.file("missing.exr").c_str(), options(), nullptr, nullptr,
                        ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE);
    }

    user.reset();

    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

/// As `load`, of a manager that is not the instance.
ImageCanvas* load_from(ImageIOTextureManager& manager, ResourceUser& user, std::string const& path)
{
    ImageLoadOptions options;
    options.color_space = "Linear";
    return manager.load_image(user, path.c_str(), options, nullptr, nullptr, ImagePixel::REPEAT_MODE_NONE,
                              ImagePixel::REPEAT_MODE_NONE);
}

TEST_F(TextureManager, UsersOfACopyThatIsGoneAreHeardByTheOther)
{
    auto const file = counted();
    User first;
    auto late = std::make_unique<User>();
    load(first, file->path());
    {
        ImageIOTextureManager copy(manager());
        EXPECT_NE(load_from(copy, *late, file->path()), nullptr);
    }
    touch(file->path());
    manager().check_external_file_modification();
    EXPECT_EQ(late->told, 1) << "still a user of the image";

    late.reset();
    touch(file->path());
    manager().check_external_file_modification();

    EXPECT_EQ(first.told, 2);
    manager().remove_requester(&first);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

TEST_F(TextureManager, UsersOfAnEndedManagerAreHeardByItsCopy)
{
    auto const file = counted();
    auto user = std::make_unique<User>();
    load(*user, file->path());
    ImageIOTextureManager copy(manager());

    ImageIOTextureManager::destroy();
    user.reset();
    touch(file->path());
    copy.check_external_file_modification();

    EXPECT_EQ(copy.get_memory_size(), 40u + 9u) << "the last user has gone";
    EXPECT_EQ(file->closes(), file->opens());
}

TEST_F(TextureManager, AUserOfBothKeepsWhatItAskedTheOtherFor)
{
    auto const shared = counted("shared.zvs"), own = counted("own.zvs");
    User user, other;
    ImageCanvas* const canvas = load(user, shared->path());
    {
        ImageIOTextureManager copy(manager());
        load_from(copy, user, shared->path());
        load_from(copy, user, own->path());
    }

    manager().remove_requester(&other);
    EXPECT_EQ(load(user, shared->path()), canvas);
    EXPECT_EQ(shared->opens(), 1);
    EXPECT_EQ(own->opens(), 1);
}

TEST_F(TextureManager, AnAssignedManagerLetsGoOfWhatItHad)
{
    auto const file = counted("first.zvs"), other = counted("second.zvs");
    auto user = std::make_unique<User>();
    User second;
    ImageIOTextureManager assigned;
    load_from(assigned, *user, file->path());
    load(second, other->path());

    assigned = manager();

    EXPECT_EQ(assigned.get_memory_size(), manager().get_memory_size());
    user.reset();
    EXPECT_NE(load_from(assigned, second, other->path()), nullptr);
    EXPECT_EQ(other->opens(), 1);
}

/// Ends the manager as soon as a load shows its progress.
class EndingBar : public AppProgressBar {
public:
    EndingBar()
        : AppProgressBar("")
    {
    }
    void begin_task(CoreString const& title, float span, bool flag) override
    {
        ImageIOTextureManager::destroy();
        AppProgressBar::begin_task(title, span, flag);
    }
};

TEST_F(TextureManager, EndedByItsOwnLoadItGivesNull)
{
    auto const file = counted();
    EndingBar bar;
    {
        User user;
        EXPECT_EQ(manager().load_image(user, file->path().c_str(), options(), nullptr, &bar,
                                       ImagePixel::REPEAT_MODE_NONE, ImagePixel::REPEAT_MODE_NONE),
                  nullptr);
    }
    EXPECT_EQ(file->opens(), 1) << "it was being loaded";
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
}

// Threads

TEST_F(TextureManager, CopiesOnOtherThreadsShareTheLock)
{
    auto const file = counted();
    User holder;
    load(holder, file->path());
    std::vector<ImageIOTextureManager> copies(4, manager());
    std::atomic<int> failures = 0;

    std::vector<std::thread> threads;
    for (ImageIOTextureManager& copy : copies)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                User user;
                failures += !load_from(round % 2 ? copy : manager(), user, file->path());
                copy.get_memory_size();
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(failures, 0);
    EXPECT_EQ(file->opens(), 1);
}

TEST_F(TextureManager, SixteenThreadsOnOneFileMakeOneRead)
{
    auto const file = counted();
    std::vector<std::unique_ptr<User>> users;
    for (int thread = 0; thread < 16; ++thread)
        users.push_back(std::make_unique<User>());
    std::vector<ImageCanvas*> found(users.size());
    std::atomic<bool> go = false;

    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < users.size(); ++thread)
        threads.emplace_back([&, thread] {
            while (!go)
                std::this_thread::yield();
            found[thread] = load(*users[thread], file->path());
        });
    go = true;
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(file->opens(), 1);
    for (ImageCanvas* const canvas : found)
        EXPECT_EQ(canvas, found[0]);
    EXPECT_NE(found[0], nullptr);
}

TEST_F(TextureManager, ThreadsComeAndGo)
{
    std::vector<std::unique_ptr<ScriptedFile>> files;
    for (int number = 0; number < 6; ++number)
        files.push_back(counted(std::to_string(number) + ".zvs"));
    std::atomic<int> failures = 0;

    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 50; ++round) {
                User user;
                for (int step = 0; step < 3; ++step) {
                    ImageCanvas* const canvas =
                        load(user, files[std::size_t(thread + round + step) % 6]->path());
                    failures += !canvas || canvas->get_width() != 8;
                }
                manager().get_memory_size();
                if (round % 2)
                    manager().remove_requester(&user);
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(failures, 0);
    EXPECT_EQ(manager().get_memory_size(), 40u + 9u);
    for (auto const& file : files)
        EXPECT_EQ(file->opens(), file->closes());
}

}  // namespace
