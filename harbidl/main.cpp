#include "model/reader.h"
#include "options.h"
#include "outputs.h"
#include "syntax/preprocessor.h"

#include <filesystem>
#include <iostream>

using namespace harbidl;

namespace {

// The definitions that come with the compiler, found from where its program is.
std::string ownDefinitions() {
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return (program.parent_path().parent_path() / "share/harbolance/idl").string();
}

int run(const Options& options) {
    std::optional<std::string> text = preprocessed(options.file, options.preprocessor, {ownDefinitions()});
    if (!text)
        return 1;
    const std::unique_ptr<Reading> reading =
        Reading::of(std::move(*text), options.file, options.warningsAreErrors);
    reading->diagnostics.print(std::cerr);
    if (reading->diagnostics.failed())
        return 1;
    if (options.dumpModel) {
        std::cout << dumped(reading->model);
        return std::cout.flush() ? 0 : 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::variant<Options, int> options = parseOptions({argv + 1, argv + argc});
    if (const int* status = std::get_if<int>(&options))
        return *status;
    return run(std::get<Options>(options));
}
