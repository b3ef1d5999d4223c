#include "host/parser/parser_group.h"

#include "host/app_base/app_progress_bar.h"
#include "host/parser/text_reader.h"

constinit CoreVersion const default_parser_serial_version{1, 0, 0};

ParserGroup::ParserGroup(CoreString const& name)
    : m_name(name)
{
}

ParserGroup::ParserGroup(ParserGroup&&) noexcept = default;

ParserGroup& ParserGroup::operator=(ParserGroup&&) noexcept = default;

ParserGroup::~ParserGroup() = default;

bool ParserGroup::set_text(CoreString const& text, CoreVersion const& version, AppProgressBar* progress)
{
    if (progress)
        progress->set_value(0.0f);
    m_entries.clear();
    zv_host::TextReader reader(text.view());
    bool is_read = version.major_number <= default_parser_serial_version.major_number;
    if (is_read)
        is_read = reader.read(*this);
    m_error_line = reader.error_line();
    m_error_column = reader.error_column();
    m_error_text = reader.error_text();
    if (!is_read)
        m_entries.clear();
    if (!is_read && m_error_text.is_empty())
        m_error_text = "the text is of a newer version of the syntax";
    if (progress)
        progress->set_value(1.0f);
    return is_read;
}

ParserEntry* ParserGroup::get_entry(unsigned int index) const noexcept
{
    return index < m_entries.size() ? m_entries[index].get() : nullptr;
}

ParserEntry* ParserGroup::get_entry(CoreString const& name) const noexcept
{
    for (auto const& entry : m_entries)
        if (entry->get_name() == name)
            return entry.get();
    return nullptr;
}

ParserEntry& ParserGroup::add_entry(CoreString const& name)
{
    return *m_entries.emplace_back(std::make_unique<ParserEntry>(name));
}
