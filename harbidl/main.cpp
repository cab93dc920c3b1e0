#include "generate/includes.h"
#include "generate/stub_source.h"
#include "options.h"
#include "outputs.h"
#include "syntax/preprocessor.h"

#include <filesystem>
#include <iostream>
#include <set>

using namespace harbidl;

namespace {

// The definitions that come with the compiler, found from where its program is.
std::string ownDefinitions() {
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return (program.parent_path() / HARBIDL_DEFINITIONS).lexically_normal().string();
}

// A rule for make: what the outputs depend on.
std::string dependencies(const Reading& reading, const std::vector<std::string>& outputs) {
    const auto quoted = [](const std::string& name) {
        std::string result;
        for (const char c : name)
            result += c == ' ' || c == '#' ? std::string("\\") + c : c == '$' ? "$$" : std::string(1, c);
        return result;
    };
    std::string rule;
    for (const std::string& output : outputs)
        rule += (rule.empty() ? "" : " ") + quoted(output);
    rule += ":";
    std::set<std::string> names;
    for (const IncludedFile& file : reading.source.files()) {
        if (!file.name.starts_with('<') && names.insert(file.name).second)
            rule += " \\\n  " + quoted(file.name);
    }
    return rule + "\n";
}

bool writeOutputs(const Options& options, const Reading& reading) {
    const std::filesystem::path folder = options.folder;
    const std::string base = std::filesystem::path(options.file).filename().string();
    const std::string header = stubHeaderName(base);
    const std::string source = header.substr(0, header.size() - 1) + "cpp";
    const Unit unit{reading.model, base, header, includesOf(reading, ownDefinitions())};
    Outputs outputs;
    outputs.add((folder / header).string(), stubHeader(unit));
    outputs.add((folder / source).string(), stubSource(unit));
    if (!options.dependencies.empty())
        outputs.add(options.dependencies,
                    dependencies(reading, {(folder / header).string(), (folder / source).string()}));
    return outputs.write();
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
    if (!options.dumpModel)
        return writeOutputs(options, *reading) ? 0 : 1;
    std::cout << dumped(reading->model);
    return std::cout.flush() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::variant<Options, int> options = parseOptions({argv + 1, argv + argc});
    if (const int* status = std::get_if<int>(&options))
        return *status;
    return run(std::get<Options>(options));
}
