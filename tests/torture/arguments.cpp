#include "tests/torture/arguments.h"

#include <stdexcept>

namespace zv_torture {

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
        else if (word == "--worker")
            result.orders.worker = std::stoi(value());
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

}  // namespace zv_torture
