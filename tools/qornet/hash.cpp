#include <iomanip>
#include <memory>
#include <sstream>

#include "Base/RkTypes.h"
#include "Commands.h"
#include "Network/Network/MurmurHash3.h"

namespace {

struct Options {
    std::string text;
    unsigned seed = 0;
    bool x86128 = false;
    bool x64128 = false;
};

template <class Word, std::size_t Count>
std::string Digits(const Word (&words)[Count]) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (const Word word : words)
        text << std::setw(2 * sizeof(Word)) << word;
    return text.str();
}

void Hash(const Options& options) {
    const char* key = options.text.data();
    const int length = static_cast<int>(options.text.size());
    if (options.x86128) {
        RkUInt32 words[4];
        MurmurHash3_x86_128(key, length, options.seed, words);
        PrintField("x86_128", Digits(words));
    } else if (options.x64128) {
        RkUInt64 words[2];
        MurmurHash3_x64_128(key, length, options.seed, words);
        PrintField("x64_128", Digits(words));
    } else {
        RkUInt32 words[1];
        MurmurHash3_x86_32(key, length, options.seed, words);
        PrintField("x86_32", Digits(words));
    }
}

}  // namespace

void AddHash(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("hash", "Print the MurmurHash3 of a text, in hexadecimal digits");
    command->add_option("TEXT", options->text, "The text; put -- before one that begins with a dash")->required();
    command->add_option("--seed", options->seed, "Start value, decimal or 0x hexadecimal")->capture_default_str();
    CLI::Option* x86 = command->add_flag("--x86-128", options->x86128, "The 128-bit variant made for 32-bit machines");
    command->add_flag("--x64-128", options->x64128, "The 128-bit variant made for 64-bit machines")->excludes(x86);
    command->callback([options] { Hash(*options); });
}
