#include "image_io/format/image_io_file_format.h"
#include "tools/command_line.h"
#include "tools/commands.h"

namespace zvio {

namespace {

struct NameRequest {
    std::string path;
    std::string layer;
    int first_number = 0, second_number = 0;
};

void tell_name(CoreString const& name, Document& document)
{
    document.result() = {{"name", name.get_data()}};
    document.print(std::string(name.get_data()) + "\n");
}

void name_layer(NameRequest const& request, Document& document)
{
    CoreString const name =
        ImageIOFileFormat::construct_layer_file_name(request.path.c_str(), request.layer.c_str());
    if (name.is_empty())
        throw CommandError(EXIT_CODE_USAGE, "\"" + request.path + "\" has no file name");
    tell_name(name, document);
}

void name_tile(NameRequest const& request, Document& document)
{
    tell_name(ImageIOFileFormat::construct_tile_file_name(request.path.c_str(), request.first_number,
                                                          request.second_number),
              document);
}

}  // namespace

void add_name_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<NameRequest>();
    auto const run = std::make_shared<std::function<void(Document&)>>();
    CLI::App& command = add_command(app, line, "name", "Tell how output files are named",
                                    [run](Document& document) { (*run)(document); });
    command.require_subcommand(1);

    // The two share the record: one of them is chosen.
    CLI::App& layer = *command.add_subcommand("layer", "The file of one layer of a picture");
    layer.fallthrough();
    layer.add_option("PATH", request->path, "The file of the picture")->required()->type_name("");
    layer.add_option("LAYER", request->layer, "The name of the layer")->required()->type_name("");
    layer.callback(
        [request, run] { *run = [request](Document& document) { name_layer(*request, document); }; });

    CLI::App& tile =
        *command.add_subcommand("tile", "The file of one tile of a picture, without its extension");
    tile.fallthrough();
    tile.add_option("PATH", request->path, "The file of the picture, without its extension")
        ->required()
        ->type_name("");
    tile.add_option("A", request->first_number, "The tile's first number")->required()->type_name("");
    tile.add_option("B", request->second_number, "Its second number, padded to the digits of the first")
        ->required()
        ->type_name("");
    tile.callback(
        [request, run] { *run = [request](Document& document) { name_tile(*request, document); }; });
}

}  // namespace zvio
