#include "generate/includes.h"
#include "generate/servant.h"
#include "generate/skel_header.h"
#include "generate/stub_source.h"
#include "options.h"
#include "outputs.h"
#include "syntax/preprocessor.h"

#include <filesystem>
#include <iostream>
#include <set>

using namespace harbidl;

namespace {

// The folder of the definitions that come with the compiler, found from the program's own path.
std::string ownDefinitions() {
    std::error_code failure;
    // argv[0] is not used: it may be a name found by PATH, or a link.
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    return (program.parent_path() / HARBIDL_DEFINITIONS).lexically_normal().string();
}

// A rule for make with the dependencies of the outputs.
std::string dependencies(const Reading& reading, const std::vector<std::string>& outputs) {
    const auto quoted = [](const std::string& name) {
        std::string result;
        for (const char c : name)
            // Escapes characters that make would take for the end of a name, a comment or a variable.
            result += c == ' ' || c == '#' ? std::string("\\") + c : c == '$' ? "$$" : std::string(1, c);
        return result;
    };
    std::string rule;
    for (const std::string& output : outputs)
        // One rule for all outputs, because they are written together.
        rule += (rule.empty() ? "" : " ") + quoted(output);
    rule += ":";
    std::set<std::string> names;
    for (const IncludedFile& file : reading.source.files()) {
        // Names such as <built-in> are the preprocessor's own. A file that is included twice stands once.
        if (!file.name.starts_with('<') && names.insert(file.name).second)
            rule += " \\\n  " + quoted(file.name);
    }
    return rule + "\n";
}

// Reports constructs that are valid but for which no code can be generated yet.
void refuseWhatIsMissing(Reading& reading) try {
    for (const auto& declaration : reading.model.declarations()) {
        // Those of other files are reported when code is generated for them.
        if (declaration->kind != Declaration::Kind::operation || declaration->file != SourceText::mainFile)
            continue;
        const auto& operation = static_cast<const Operation&>(*declaration);
        if (!operation.contexts.empty())
            reading.diagnostics.error(operation.position,
                                      "'" + operation.scopedName() +
                                          "' has a context clause, and this compiler makes "
                                          "no code for contexts");
    }
} catch (const GiveUp&) {
    // there are more of them than are shown
}

using Generator = std::string (*)(const Unit& unit);

// A header and a source file that are generated together.
struct Part {
    std::string name; // "_stub": what is added to the name of the definition
    Includes includes;
    CxxNames::Place place;
    Generator header;
    Generator source;
};

std::vector<Part> partsOf(const Options& options, const Reading& reading) {
    std::vector<Part> parts{
        {"_stub", includesOf(reading, ownDefinitions()), CxxNames::Place::inside, stubHeader, stubSource}};
    if (options.clientOnly)
        return parts;
    parts.push_back({"_skel", skeletonIncludesOf(reading, ownDefinitions()), CxxNames::Place::outside,
                     skelHeader, skelSource});
    const std::string base = std::filesystem::path(options.file).filename().string();
    if (options.servant)
        parts.push_back({"_impl",
                         {"\"" + outputName(base, "_skel.h") + "\""},
                         CxxNames::Place::inside,
                         servantHeader,
                         servantSource});
    return parts;
}

bool writeOutputs(const Options& options, const Reading& reading) {
    const std::filesystem::path folder = options.folder;
    const std::string base = std::filesystem::path(options.file).filename().string();
    Outputs outputs;
    std::vector<std::string> names;
    for (const Part& part : partsOf(options, reading)) {
        const std::string header = outputName(base, part.name + ".h");
        const Unit unit{reading.model, base, header, part.includes, part.place};
        // The user edits the servant files, so an existing one must not be overwritten.
        const Outputs::Existing existing =
            part.name == "_impl" ? Outputs::Existing::refused : Outputs::Existing::replaced;
        names.push_back((folder / header).string());
        outputs.add(names.back(), part.header(unit), existing);
        names.push_back((folder / outputName(base, part.name + ".cpp")).string());
        outputs.add(names.back(), part.source(unit), existing);
    }
    // Added last: make must not see a rule for files that could not be written.
    if (!options.dependencies.empty())
        outputs.add(options.dependencies, dependencies(reading, names));
    return outputs.write();
}

int run(const Options& options) {
    // Our own definitions are searched last, so that a user's file of the same name is found first.
    std::optional<std::string> text = preprocessed(options.file, options.preprocessor, {ownDefinitions()});
    if (!text)
        return 1;
    const std::unique_ptr<Reading> reading =
        Reading::of(std::move(*text), options.file, options.warningsAreErrors);
    // The model of a definition with errors may be incomplete and is not used.
    if (!options.dumpModel && !reading->diagnostics.failed())
        refuseWhatIsMissing(*reading);
    // Warnings too, also when all is well.
    reading->diagnostics.print(std::cerr);
    if (reading->diagnostics.failed())
        return 1;
    if (!options.dumpModel)
        return writeOutputs(options, *reading) ? 0 : 1;
    std::cout << dumped(reading->model);
    // A full disk or a closed pipe shows only here.
    return std::cout.flush() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const std::variant<Options, int> options = parseOptions({argv + 1, argv + argc});
    if (const int* status = std::get_if<int>(&options))
        return *status;
    return run(std::get<Options>(options));
}
