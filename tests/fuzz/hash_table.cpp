#include "host/core/core_hash_table.h"

#include <string>
#include <unordered_map>
#include <utility>

#include "host/core/core_string.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/fuzz/harness.h"
#include "tests/host/core/reference_table.h"

namespace zv_fuzz {

namespace {

using Table = CoreHashTable<CoreString, int>;

/// The table, the rules of its order said plainly, and a table of the standard library for what it holds.
class Trial {
public:
    bool is_tired() const { return m_changes > 3000; }

    void insert(std::string const& key, int value)
    {
        ++m_changes;
        m_table.insert(core(key), value);
        m_reference.insert(key, value);
        m_contents[key] = value;
        check_size();
    }

    void remove(std::string const& key)
    {
        ++m_changes;
        bool const was_there = m_contents.erase(key) > 0;
        require(m_table.remove(core(key)) == was_there, "a removal tells whether there was such a key");
        m_reference.remove(key);
        check_size();
    }

    void look_up(std::string const& key) const
    {
        int const* const found = m_table.find(core(key));
        auto const place = m_contents.find(key);
        require((found != nullptr) == (place != m_contents.end()), "exactly the keys inserted are found");
        require(!found || *found == place->second, "a key has its last value");
    }

    /// Removes the first entry by the table's own key.
    void remove_first()
    {
        CoreString const* first = nullptr;
        m_table.for_each([&first](CoreString const& key, int) { first = first ? first : &key; });
        if (!first)
            return;
        std::string const key(first->view());
        require(m_table.remove(*first), "a walk shows keys that are there");
        m_reference.remove(key);
        m_contents.erase(key);
        check_size();
    }

    void clear()
    {
        m_table.clear();
        m_reference = {};
        m_contents.clear();
        check_size();
    }

    void copy()
    {
        Table copied(m_table);
        m_table = copied;
        check_walk(copied);
    }

    void move()
    {
        Table moved(std::move(m_table));
        m_table.clear();
        m_table = std::move(moved);
    }

    void check_walk() const { check_walk(m_table); }

private:
    static CoreString core(std::string const& text) { return CoreString(std::string_view(text)); }

    void check_size() const
    {
        require(m_table.get_count() == m_contents.size(), "a table has as many entries as were inserted");
        require(m_table.get_mode() == m_reference.mode, "a table changes its form at its limits");
    }

    void check_walk(Table const& table) const
    {
        auto const expected = m_reference.walk();
        std::size_t step = 0;
        table.for_each([&](CoreString const& key, int value) {
            require(step < expected.size() && key.view() == expected[step].first &&
                        value == expected[step].second,
                    "a walk follows the order of the table");
            ++step;
        });
        require(step == expected.size(), "a walk shows all entries");
    }

    int m_changes = 0;
    Table m_table;
    zv_test::ReferenceTable m_reference;
    std::unordered_map<std::string, int> m_contents;
};

/// Numbered keys, some empty or with zero bytes.
std::string key_of(unsigned number)
{
    switch (number % 4) {
    case 0:
        return std::string(number / 4 % 64, 'k');
    case 1:
        return std::string("\0z", 2) + std::to_string(number);
    default:
        return std::to_string(number);
    }
}

void step(Trial& trial, ByteReader& reader, int& value)
{
    unsigned const operation = reader.byte();
    unsigned const number = reader.number<unsigned short>() % 1024;
    switch (operation % 10) {
    case 0:
    case 1:
        return trial.insert(key_of(number), ++value);
    case 2:
        return trial.remove(key_of(number));
    case 3:
        return trial.look_up(key_of(number));
    case 4:  // a run, so that few bytes reach the large form
        for (unsigned i = 0; i < 96; ++i)
            trial.insert(key_of(number + i), ++value);
        return;
    case 5:
        for (unsigned i = 0; i < 96; ++i)
            trial.remove(key_of(number + i));
        return;
    case 6:
        return trial.copy();
    case 7:
        return trial.move();
    case 8:
        return trial.remove_first();
    case 9:
        return number % 16 == 0 ? trial.clear() : trial.insert(reader.text(number % 8), ++value);
    }
}

}  // namespace

void hash_table(Bytes bytes)
{
    constexpr int kMostSteps = 300;
    ByteReader reader(bytes);
    Trial trial;
    int value = 0;
    for (int i = 0; i < kMostSteps && !trial.is_tired() && !reader.is_at_end(); ++i)
        step(trial, reader, value);
    trial.check_walk();
}

}  // namespace zv_fuzz
