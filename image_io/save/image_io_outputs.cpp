#include "image_io/save/image_io_outputs.h"

#include <OpenImageIO/imageio.h>

#include <memory>

ImageIOOutputs::ImageIOOutputs() = default;
ImageIOOutputs::ImageIOOutputs(ImageIOOutputs const& other) = default;
ImageIOOutputs& ImageIOOutputs::operator=(ImageIOOutputs const& other) = default;
ImageIOOutputs::~ImageIOOutputs() = default;

ImageIOOutput& ImageIOOutputs::operator[](unsigned int index)
{
    // Never freed: its end would be a line in the log of a process that is going down.
    static ImageIOOutput* const nobodys = [] {
        auto* const output = new ImageIOOutput(nullptr, "", "", nullptr);
        output->m_is_nobodys = true;
        return output;
    }();
    return index < m_outputs.get_count() && m_outputs[index] ? *m_outputs[index] : *nobodys;
}

void ImageIOOutputs::add_new(ImageIOOutput* output)
{
    m_outputs.add(std::shared_ptr<ImageIOOutput>(output));
}

unsigned int ImageIOOutputs::get_count() const
{
    return m_outputs.get_count();
}

bool ImageIOOutputs::is_valid() const
{
    return m_outputs.get_count() > 0;
}

ImageIO::SavingStatus ImageIOOutputs::write_region(ImageEvalContext& context, GMathVec4<int> const& region)
{
    for (std::shared_ptr<ImageIOOutput> const& output : m_outputs) {
        if (!output)
            continue;
        ImageIO::SavingStatus const status = output->write_region(context, region, nullptr);
        if (status != ImageIO::SAVING_STATUS_SUCCESS)
            return status;
    }
    return ImageIO::SAVING_STATUS_SUCCESS;
}

void ImageIOOutputs::drop_empty_files(unsigned int first)
{
    for (unsigned int index = first; index < m_outputs.get_count(); ++index)
        if (m_outputs[index])
            m_outputs[index]->drop_if_empty();
}
