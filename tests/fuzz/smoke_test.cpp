// Every harness over its seeds and changes of them, so that none rots while nobody fuzzes. A harness that finds something
// ends the process.

#include <cstdio>
#include <random>
#include <string>

#include "tests/fuzz/harness.h"
#include "tests/fuzz/seeds.h"

namespace {

using Random = std::minstd_rand;

/// A few bytes changed, taken out, or put in twice.
std::string changed(std::string input, Random& random)
{
    for (unsigned changes = random() % 4 + 1; changes > 0 && !input.empty(); --changes) {
        std::size_t const place = random() % input.size();
        std::size_t const size = random() % 8 + 1;
        switch (random() % 3) {
        case 0:
            input[place] = char(random() % 256);
            break;
        case 1:
            input.erase(place, size);
            break;
        default:
            input.insert(place, input.substr(random() % input.size(), size));
        }
    }
    return input;
}

int try_harness(zv_fuzz::Harness const& harness, int changes)
{
    auto const run = [&harness](std::string const& input) {
        harness.run({reinterpret_cast<unsigned char const*>(input.data()), input.size()});
    };
    auto const seeds = zv_fuzz::seeds_for(harness.name);
    if (seeds.empty()) {
        std::printf("%s: no seeds\n", harness.name);
        return 1;
    }
    for (std::string const& seed : seeds)
        run(seed);
    Random random(1);
    for (int i = 0; harness.is_quick && i < changes; ++i)
        run(changed(seeds[random() % seeds.size()], random));
    std::printf("%s: %zu seeds\n", harness.name, seeds.size());
    return 0;
}

}  // namespace

int main()
{
    constexpr int kChanges = 1000;
    zv_fuzz::prepare_process();
    int failures = 0;
    for (zv_fuzz::Harness const& harness : zv_fuzz::harnesses())
        failures += try_harness(harness, kChanges);
    return failures;
}
