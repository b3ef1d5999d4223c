// Trials of the module under conditions that real nights bring: zv_torture [--minutes N] [--seconds N] [--corpus FOLDER]
// [--seed S] [--cases N] [--folder FOLDER] [SWEEP...]
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "tests/support/temp_dir.h"
#include "tests/torture/driver.h"
#include "tests/torture/report.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

struct Arguments {
    Orders orders;
    double seconds = 60;
    long long most_cases = -1;
    std::vector<std::string> sweeps;
    // Of a child.
    std::string child, notes;
    Share share;
};

Arguments parse(int count, char** words)
{
    Arguments result;
    for (int i = 1; i < count; ++i) {
        std::string const word = words[i];
        auto const value = [&]() -> std::string {
            if (++i >= count)
                throw std::invalid_argument(word + " needs a value");
            return words[i];
        };
        if (word == "--minutes")
            result.seconds = std::stod(value()) * 60;
        else if (word == "--total-seconds")
            result.seconds = std::stod(value());
        else if (word == "--corpus")
            result.orders.corpus = value();
        else if (word == "--seed")
            result.orders.seed = std::stoull(value());
        else if (word == "--cases")
            result.most_cases = std::stoll(value());
        else if (word == "--folder")
            result.orders.folder = value();
        else if (word == "--seconds")
            result.orders.seconds = std::stoi(value());
        else if (word == "--child")
            result.child = value();
        else if (word == "--notes")
            result.notes = value();
        else if (word == "--first")
            result.share.first = std::stoll(value());
        else if (word == "--count")
            result.share.count = std::stoll(value());
        else if (word == "--step")
            result.share.step = std::stoll(value());
        else if (word == "--seconds-left")
            result.share.seconds = std::stoll(value());
        else if (word == "--prepare")
            result.share.is_preparation = true;
        else if (word == "--guarded")
            result.share.is_guarded = true;
        else if (word[0] != '-')
            result.sweeps.push_back(word);
        else
            throw std::invalid_argument("unknown option " + word);
    }
    return result;
}

int run_sweeps(Arguments arguments)
{
    std::unique_ptr<zv_test::TempDir> own_folder;
    if (arguments.orders.folder.empty()) {
        own_folder = std::make_unique<zv_test::TempDir>();
        arguments.orders.folder = own_folder->path().string();
    }
    if (arguments.sweeps.empty())
        arguments.sweeps = sweep_names();
    double const share = arguments.seconds / static_cast<double>(arguments.sweeps.size());
    // The time that a sweep does not need goes to those behind it.
    auto const start = std::chrono::steady_clock::now();
    bool is_good = true;
    print_heading(arguments.orders);
    for (std::size_t i = 0; i < arguments.sweeps.size(); ++i) {
        std::chrono::duration<double> const used = std::chrono::steady_clock::now() - start;
        double const left =
            std::max(share / 4, (arguments.seconds - used.count()) / double(arguments.sweeps.size() - i));
        Orders orders = arguments.orders;
        orders.seconds = std::max(2, int(left / 2));
        Result const result =
            drive(arguments.sweeps[i], orders, std::chrono::seconds(int(left) + 1), arguments.most_cases);
        print_result(arguments.sweeps[i], result);
        is_good = is_good && result.is_good();
    }
    print_verdict(is_good);
    return is_good ? 0 : 1;
}

}  // namespace

std::vector<std::string> sweep_names()
{
    return {"refused", "killed", "memory", "library-memory", "threads", "hostile"};
}

std::unique_ptr<Sweep> make_sweep(std::string const& name)
{
    if (name == "hostile")
        return make_hostile_sweep();
    if (name == "refused")
        return make_refused_sweep();
    if (name == "killed")
        return make_killed_sweep();
    if (name == "memory")
        return make_memory_sweep();
    if (name == "library-memory")
        return make_library_memory_sweep();
    if (name == "threads")
        return make_thread_sweep();
    throw std::invalid_argument("there is no sweep " + name);
}

}  // namespace zv_torture

int main(int count, char** words)
try {
    using namespace zv_torture;
    Arguments const arguments = parse(count, words);
    if (!arguments.child.empty())
        run_child(arguments.child, arguments.orders, arguments.notes, arguments.share);
    return run_sweeps(arguments);
} catch (std::exception const& exception) {
    std::cerr << "zv_torture: " << exception.what() << "\n";
    return 2;
}
