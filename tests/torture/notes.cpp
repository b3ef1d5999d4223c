#include "tests/torture/notes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace zv_torture {

namespace {

template <std::size_t N>
void copy_text(char (&target)[N], std::string_view text)
{
    std::size_t const length = std::min(text.size(), N - 1);
    std::memcpy(target, text.data(), length);
    target[length] = 0;
}

}  // namespace

void Notes::count(std::string_view row, std::string_view outcome, unsigned long long times)
{
    for (Tally& tally : tallies) {
        int expected = 0;
        if (tally.state.compare_exchange_strong(expected, 1)) {
            copy_text(tally.row, row);
            copy_text(tally.outcome, outcome);
            tally.state = 2;
        }
        while (tally.state == 1)
            ;
        if (tally.row == row.substr(0, sizeof tally.row - 1) &&
            tally.outcome == outcome.substr(0, sizeof tally.outcome - 1)) {
            tally.count += times;
            return;
        }
    }
    fault("more outcomes than rows: " + std::string(row) + ", " + std::string(outcome) + "  [" + what + "]");
}

void Notes::fault(std::string const& text)
{
    unsigned const number = fault_count++;
    if (number < kFaults)
        copy_text(faults[number], text);
}

void Notes::begin_case(long long at, std::string const& description)
{
    copy_text(what, description);
    position = at;
    ++beats;
}

SharedNotes::SharedNotes(std::string const& path)
{
    int const file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(Notes)) != 0)
        throw std::runtime_error("cannot make " + path);
    void* const memory = mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED)
        throw std::runtime_error("cannot map " + path);
    m_notes = static_cast<Notes*>(memory);
}

SharedNotes::~SharedNotes()
{
    munmap(m_notes, sizeof(Notes));
}

}  // namespace zv_torture
