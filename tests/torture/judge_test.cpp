#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"
#include "tests/torture/allocations.h"
#include "tests/torture/byte_order.h"
#include "tests/torture/driver.h"
#include "tests/torture/hidden.h"
#include "tests/torture/refused_write.h"
#include "tests/torture/run_program.h"
#include "tests/torture/sanitizers.h"
#include "tests/torture/save_forms.h"

// The judge of the trials, before planted faults: whose it calls each. This program is its own child, as zv_torture is.

namespace {

using namespace zv_torture;

enum class Verdict { NOTHING, OURS, LIBRARYS };

/// A case that behaves as told, and what has to come of it.
struct Plant {
    char const* name;
    Verdict verdict;
    void (*run)(Notes& notes);
    char const* text;  // a part of what is said of it
};

void call(std::uintptr_t address)
{
    reinterpret_cast<void (*)()>(hidden(address))();
    hidden(0);  // so that this is a call and no jump
}

void read_null()
{
    hidden(*hidden(static_cast<int*>(nullptr)));
}

/// An address that no process has, handed to a library that reads from it.
void crash_in_a_library(char const* text = reinterpret_cast<char const*>(16))
{
    hidden(OIIO::Strutil::iequals(OIIO::string_view(hidden(text), 8), "tiffiles"));
}

/// What lies behind the 8 bytes that the allocator adds stays whole, so that only guarded memory tells of it.
[[maybe_unused]] void spoil_the_heap()
{
    std::unique_ptr<char[]> const memory(new char[hidden(256)]);
    char volatile* const bytes = memory.get();
    bytes[hidden(256)] = 1;
}

/// The same, written by a library.
[[maybe_unused]] void let_a_library_spoil_the_heap()
{
    static float const samples[260] = {};
    std::unique_ptr<char[]> const memory(new char[hidden(256)]);
    OIIO::convert_pixel_values(OIIO::TypeFloat, samples, OIIO::TypeUInt8, hidden(memory.get()), hidden(260));
}

/// Hands a library what it cannot stand where memory is guarded, of which there are no more pieces than a process may have
/// mappings (65530). Without guards nothing happens.
[[maybe_unused]] void use_guarded_memory_up()
{
    for (int i = 0; i < hidden(100000); ++i)
        if (!hidden(std::malloc(256)))
            crash_in_a_library(nullptr);
}

void spin()
{
    while (hidden(true))
        ;
}

std::string file_of_process_number, file_that_may_stay_open;

void leave_open(std::string const& path)
{
    hidden(std::fopen(path.c_str(), "r"));
}

}  // namespace

/// Has a name that stacks tell.
extern "C" [[gnu::noinline, gnu::visibility("default")]] void zv_planted_spin()
{
    spin();
}

namespace {

constexpr char kManyRows[] = "many rows";

Plant const kPlants[] = {
    {"nothing", Verdict::NOTHING, [](Notes&) {}, ""},
    {"an exception", Verdict::OURS, [](Notes&) { throw std::runtime_error("planted"); }, "escaped: planted"},
    {"another exception", Verdict::OURS, [](Notes&) { throw 1; }, "escaped"},
    {"an exception out of a thread", Verdict::OURS,
     [](Notes&) { std::thread([] { throw std::runtime_error("planted"); }).join(); }, "crash in"},
    {"abort", Verdict::OURS, [](Notes&) { std::abort(); }, "crash in"},
    {"exit", Verdict::OURS, [](Notes&) { std::exit(0); }, "exit by"},
    {"_exit", Verdict::OURS, [](Notes&) { _exit(0); }, "ended by"},
    {"kill", Verdict::OURS, [](Notes&) { raise(SIGKILL); }, "ended by signal 9"},
    {"a spin", Verdict::OURS, [](Notes&) { spin(); }, "time used up in"},
    {"a spin that the main thread waits for", Verdict::OURS,
     [](Notes&) { std::thread(zv_planted_spin).join(); }, "zv_planted_spin"},
    {"null read", Verdict::OURS, [](Notes&) { read_null(); }, "crash in"},
    {"null called", Verdict::OURS, [](Notes&) { call(0); }, "crash in"},
    {"a wild jump", Verdict::OURS, [](Notes&) { call(0x1234567890); }, "crash in"},
    {"a thread that reads null", Verdict::OURS, [](Notes&) { std::thread(read_null).join(); }, "crash in"},
    {"a file left open", Verdict::OURS, [](Notes&) { leave_open("/proc/self/exe"); }, "left open"},
    {"a file that may stay open", Verdict::NOTHING, [](Notes&) { leave_open(file_that_may_stay_open); }, ""},
    {"two of a file that may stay open", Verdict::OURS,
     [](Notes&) {
         leave_open(file_that_may_stay_open);
         leave_open(file_that_may_stay_open);
     },
     "left open"},
    {"another file left open beside it", Verdict::OURS,
     [](Notes&) {
         leave_open(file_that_may_stay_open);
         leave_open(file_of_process_number);
     },
     "left open"},
    {"more outcomes than rows", Verdict::OURS,
     [](Notes& notes) {
         for (std::size_t i = 0; i <= Notes::kTallies; ++i)
             notes.count(kManyRows, std::to_string(i));
     },
     "more outcomes than rows"},
    {"a false success", Verdict::OURS,
     [](Notes& notes) { check_failed_save(ImageIO::SAVING_STATUS_SUCCESS, 1, "", {}, "row", notes); },
     "false success"},
    {"a silent failure", Verdict::OURS,
     [](Notes& notes) { check_failed_save(ImageIO::SAVING_STATUS_WRITE_FAILED, 0, "", {}, "row", notes); },
     "without a word"},
    {"a library's crash", Verdict::LIBRARYS, [](Notes&) { crash_in_a_library(); },
     "crash in libOpenImageIO_Util"},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    {"a library's crash behind a spoilt heap of ours", Verdict::OURS,
     [](Notes&) {
         spoil_the_heap();
         crash_in_a_library();
     },
     "crash in zv_t"},
    {"a crash of ours behind a heap that a library spoilt", Verdict::LIBRARYS,
     [](Notes&) {
         let_a_library_spoil_the_heap();
         read_null();
     },
     "crash in libOpenImageIO.so"},
    {"a crash of ours that guarded memory does not come to", Verdict::OURS,
     [](Notes&) {
         use_guarded_memory_up();
         read_null();
     },
     "crash in zv_t"},
#endif
    {"a wait for a program that does not end", Verdict::OURS,
     [](Notes&) {
         run_program({"/bin/sh", "-c", "echo $$ >" + file_of_process_number + "; exec sleep 600"});
     },
     "time used up in"},
};

class PlantedSweep : public Sweep {
public:
    long long begin(Orders const& orders, Notes&) override
    {
        file_of_process_number = orders.folder + "/process" + std::to_string(orders.worker);
        file_that_may_stay_open = std::filesystem::canonical(orders.folder).string() + "/texture";
        std::ofstream(file_of_process_number, std::ios::app);
        std::ofstream(file_that_may_stay_open, std::ios::app);
        return std::size(kPlants);
    }
    std::string describe(long long number) const override { return kPlants[number].name; }
    void run(long long number, Notes& notes) override { kPlants[number].run(notes); }

    int processor_seconds() const override { return 1; }
    int silent_seconds() const override { return 4; }
    int kept_open(long long, std::string const& path) const override
    {
        return path == file_that_may_stay_open ? 1 : 0;
    }
    bool is_parallel() const override { return true; }
};

/// What the numbers of cases are, and in which order.
class CountingSweep : public Sweep {
public:
    long long begin(Orders const&, Notes&) override { return 100; }
    std::string describe(long long number) const override { return std::to_string(number); }
    void run(long long number, Notes& notes) override { notes.count("cases", describe(number)); }
};

template <class Kind>
std::unique_ptr<Sweep> make()
{
    return std::make_unique<Kind>();
}

bool ends_with_name(std::string const& text, char const* name)
{
    return text.ends_with("[" + std::string(name) + "]");
}

TEST(Judge, CallsEachPlantedFaultByItsOwner)
{
    zv_test::TempDir const folder;
    Orders orders;
    orders.folder = folder.path().string();

    Result const result = drive("planted", orders, std::chrono::minutes(10));

    EXPECT_EQ(result.all_cases, std::ssize(kPlants));
    for (Plant const& plant : kPlants) {
        auto const fault =
            std::find_if(result.faults.begin(), result.faults.end(),
                         [&](std::string const& text) { return ends_with_name(text, plant.name); });
        auto const end = std::find_if(result.library_ends.begin(), result.library_ends.end(),
                                      [&](auto const& entry) { return entry.second.example == plant.name; });
        EXPECT_EQ(fault != result.faults.end(), plant.verdict == Verdict::OURS) << plant.name;
        EXPECT_EQ(end != result.library_ends.end(), plant.verdict == Verdict::LIBRARYS) << plant.name;
        if (kIsSanitized)
            continue;  // it has words of its own
        if (fault != result.faults.end()) {
            EXPECT_NE(fault->find(plant.text), std::string::npos) << plant.name << ": " << *fault;
        } else if (end != result.library_ends.end()) {
            EXPECT_NE(end->first.find(plant.text), std::string::npos) << plant.name << ": " << end->first;
        }
    }
    for (auto const& entry : std::filesystem::directory_iterator(folder.path()))
        if (entry.path().filename().string().starts_with("process")) {
            int number = 0;
            std::ifstream(entry.path()) >> number;
            EXPECT_GT(number, 1);
            EXPECT_NE(kill(number, 0), 0) << "a program outlives the process that waited for it";
        }
}

/// The faults that a failed save has which leaves `left` bytes of a file of another layer.
unsigned faults_of_a_save_that_leaves(std::size_t left, bool may_be_unfinished)
{
    zv_test::TempDir const folder, files;
    zv_test::write_bytes(files.file("refused"), std::vector<char>(200));
    zv_test::write_bytes(files.file("other"), std::vector<char>(100));
    SavedFiles const whole = saved_files(files.path().string());
    std::filesystem::remove(files.file("refused"));
    zv_test::write_bytes(files.file("other"), std::vector<char>(left));
    SharedNotes notes(folder.file("notes"));
    check_failed_save(ImageIO::SAVING_STATUS_WRITE_FAILED, 1, files.path().string(), whole, "row", *notes,
                      may_be_unfinished);
    return notes->fault_count;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(GuardedMemoryDeathTest, ThatIsGivenBackTwiceEndsTheProcessThere)
{
    auto const give_back = [](std::uintptr_t at) { std::free(reinterpret_cast<void*>(hidden(at))); };
    EXPECT_EXIT(
        {
            guard_allocations(std::size_t(1) << 30);
            auto const at = hidden(reinterpret_cast<std::uintptr_t>(std::malloc(4096)));
            give_back(at);
            give_back(at);
        },
        testing::KilledBySignal(SIGSEGV), "");
}
#endif

/// How much a file of `stdio` takes of 10 bytes in two pieces, and whether it closes.
std::pair<std::size_t, bool> write_by_stdio(std::string const& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "w");
    std::size_t taken = std::fwrite("01234", 1, 5, file);
    taken += std::fwrite("56789", 1, 5, file);
    return {taken, std::fclose(file) == 0};
}

/// Whether a descriptor closes behind the same bytes.
bool closes_descriptor(std::string const& path)
{
    int const file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    EXPECT_EQ(pwrite(file, "0123456789", 10, 0), 10);
    return close(file) == 0;
}

bool closes_stdio(std::string const& path)
{
    return write_by_stdio(path).second;
}

TEST(RefusedWrite, EndsInFrontOfItsByteOnce)
{
    zv_test::TempDir const folder, elsewhere;
    RefusedWrite const refusal(folder.path().string(), 7);

    EXPECT_EQ(write_by_stdio(elsewhere.file("a")), std::pair(std::size_t(10), true));
    EXPECT_EQ(refusal.path(), "");
    EXPECT_EQ(write_by_stdio(folder.file("a")), std::pair(std::size_t(7), true));
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(refusal.path(), std::filesystem::canonical(folder.file("a")));
    EXPECT_EQ(write_by_stdio(folder.file("b")), std::pair(std::size_t(10), true));
}

TEST(RefusedWrite, OfADescriptorTakesWhatFitsFirst)
{
    zv_test::TempDir const folder;
    RefusedWrite const refusal(folder.path().string(), 7);

    int const file = open(folder.file("a").c_str(), O_WRONLY | O_CREAT, 0600);
    EXPECT_EQ(pwrite(file, "01234", 5, 0), 5);
    EXPECT_EQ(pwrite(file, "56789", 5, 5), 2);
    EXPECT_EQ(refusal.path(), "");
    EXPECT_EQ(pwrite(file, "789", 3, 7), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(pwrite(file, "789", 3, 7), 3);
    EXPECT_EQ(close(file), 0);
}

TEST(RefusedWrite, BehindTheLastByteIsTheClose)
{
    for (auto* const closes : {closes_stdio, closes_descriptor}) {
        zv_test::TempDir const folder;
        RefusedWrite const refusal(folder.path().string(), 10);

        EXPECT_FALSE(closes(folder.file("a")));
        EXPECT_EQ(std::filesystem::file_size(refusal.path()), 10u);
        EXPECT_TRUE(closes(folder.file("b")));
    }
}

/// The first `count` bytes that have their turn.
std::vector<long long> first_bytes(long long size, unsigned long long seed, long long count)
{
    ByteOrder const order(size, seed);
    std::vector<long long> bytes;
    for (long long turn = 0; turn < count; ++turn)
        bytes.push_back(order[turn]);
    return bytes;
}

TEST(ByteOrder, MeetsEachByteOnce)
{
    for (long long size : {1, 7, 8, 9, 10, 100, 2047, 2048, 2049, 3000, 4096, 5000, 70000}) {
        auto bytes = first_bytes(size, 3, size);
        std::sort(bytes.begin(), bytes.end());
        for (long long i = 0; i < size; ++i)
            ASSERT_EQ(bytes[std::size_t(i)], i) << size;
    }
}

TEST(ByteOrder, BeginsElsewhereWithEachSeedBehindTheOutermostBytes)
{
    for (long long size : {500, 70000}) {
        EXPECT_EQ(first_bytes(size, 1, 100), first_bytes(size, 1, 100));
        EXPECT_NE(first_bytes(size, 1, 100), first_bytes(size, 2, 100));
        for (unsigned long long seed : {1, 2}) {
            auto const bytes = first_bytes(size, seed, 16);
            EXPECT_NE(std::find(bytes.begin(), bytes.end(), 0), bytes.end());
            EXPECT_NE(std::find(bytes.begin(), bytes.end(), size - 1), bytes.end());
        }
    }
}

TEST(Judge, LooksAtTheFilesThatAFailedSaveLeaves)
{
    EXPECT_EQ(faults_of_a_save_that_leaves(100, false), 0u);
    EXPECT_EQ(faults_of_a_save_that_leaves(99, false), 1u);
    EXPECT_EQ(faults_of_a_save_that_leaves(99, true), 0u);
}

std::map<std::string, unsigned long long> cases_of_seed(unsigned long long seed, long long most)
{
    zv_test::TempDir const folder;
    Orders orders;
    orders.folder = folder.path().string();
    orders.seed = seed;
    return drive("counting", orders, std::chrono::minutes(1), most).rows["cases"];
}

TEST(Judge, EachSeedTakesAShareOfItsOwn)
{
    auto const all = cases_of_seed(7, 100);
    auto const some = cases_of_seed(1, 10);

    EXPECT_EQ(all.size(), 100u);
    EXPECT_EQ(some.size(), 10u);
    EXPECT_EQ(cases_of_seed(1, 10), some);
    EXPECT_NE(cases_of_seed(2, 10), some);
}

}  // namespace

namespace zv_torture {

std::vector<SweepKind> const& sweep_kinds()
{
    static std::vector<SweepKind> const kinds = {{"planted", "planted faults", 1, make<PlantedSweep>},
                                                 {"counting", "numbers of cases", 1, make<CountingSweep>}};
    return kinds;
}

}  // namespace zv_torture
