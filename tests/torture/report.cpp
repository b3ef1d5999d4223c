#include "tests/torture/report.h"

#include <cxxabi.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "tests/torture/sanitizers.h"

namespace zv_torture {

namespace {

// Damage has no end of variants.
constexpr long long kCountless = 10000000;

/// "crash in libfoo.so: _ZN..." with the name as it stands in the source.
std::string readable(std::string const& text)
{
    std::size_t const at = text.find("_Z");
    if (at == std::string::npos)
        return text;
    std::size_t const end = std::min(text.find_first_of(" ,]", at), text.size());
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(text.substr(at, end - at).c_str(), nullptr, nullptr, &status), std::free);
    return name ? text.substr(0, at) + name.get() + text.substr(end) : text;
}

}  // namespace

void print_heading(Orders const& orders)
{
    std::cout << "Seed " << orders.seed << (kIsSanitized ? ", with a sanitizer" : "")
              << "\n\n| Tried | What came out |\n|---|---|" << std::endl;
}

void print_result(SweepKind const& kind, Result const& result)
{
    std::cout << "| **" << kind.name << "**: " << kind.what << " | " << result.cases << " tried";
    if (result.all_cases < kCountless)
        std::cout << ", of " << result.all_cases << " that there are";
    std::cout << ", in " << result.processes << " processes: " << result.faults.size() << " faults of ours";
    int library_ends = 0;
    for (auto const& [text, end] : result.library_ends)
        library_ends += end.count;
    std::cout << ", " << library_ends << " processes ended by a library |\n";
    for (auto const& [row, outcomes] : result.rows) {
        std::cout << "| " << row << " | ";
        char const* separator = "";
        for (auto const& [outcome, count] : outcomes) {
            std::cout << separator << count << " " << readable(outcome);
            separator = "; ";
        }
        std::cout << " |\n";
    }
    for (auto const& [text, end] : result.library_ends)
        std::cout << "| " << readable(text) << " | " << end.count << " times, for example " << end.example
                  << " |\n";
    for (std::string const& fault : result.faults)
        std::cout << "| FAULT | " << readable(fault) << " |\n";
    std::cout << std::flush;
}

void print_verdict(bool is_good, double seconds)
{
    std::cout << "\n"
              << (is_good ? "No fault of ours" : "There are faults of ours") << ", in "
              << std::lround(seconds) << " seconds." << std::endl;
}

}  // namespace zv_torture
