#include "generate/includes.h"

#include "syntax/original_lines.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace harbidl {

namespace {

constexpr const char* runtimeHeader = "<harbolance/corba.h>";

// The files with a declaration for which `counts` is true, and the files that include them.
template <class Counts>
std::set<uint32_t> filesThatMatter(const Reading& reading, Counts counts) {
    std::set<uint32_t> files;
    for (const auto& declaration : reading.model.declarations()) {
        if (!counts(*declaration))
            continue;
        // Every file on the path to the main file is marked too. The main file is its own includer, which
        // ends the loop.
        uint32_t file = declaration->file;
        while (files.insert(file).second)
            file = reading.source.files()[file].includer;
    }
    return files;
}

// The operand of the #include as written, with quotes or angle brackets. Empty when it is a macro.
std::string writtenInclude(const SourceText::Place& place) {
    // The preprocessor has replaced the line, so it is read from the original file.
    OriginalLines lines;
    const std::string* const line = lines.line(place.file, place.line);
    const size_t begin = line ? line->find_first_of("\"<") : std::string::npos;
    // The word "include" must come before the name; otherwise the line is another one, as after a #line.
    if (begin == std::string::npos || line->find("include") > begin)
        return {};
    const size_t end = line->find((*line)[begin] == '<' ? '>' : '"', begin + 1);
    return end == line->npos ? std::string() : line->substr(begin, end - begin + 1);
}

bool isIn(const std::string& file, const std::string& folder) {
    std::error_code failure;
    return std::filesystem::equivalent(std::filesystem::path(file).parent_path(), folder, failure) &&
           !failure;
}

std::string includeFor(const Reading& reading, const IncludedFile& file, const std::string& ownFolder,
                       std::string_view ending) {
    const std::string base = std::filesystem::path(file.name).filename().string();
    // Compared as folders and not as texts, because one folder can have many names.
    if (isIn(file.name, ownFolder))
        return "<harbolance/" + outputName(base, ending) + ">";
    const std::string written = writtenInclude(reading.source.place(file.included));
    if (written.empty())
        return "\"" + outputName(base, ending) + "\"";
    return written.front() + outputName(written.substr(1, written.size() - 2), ending) + written.back();
}

// The headers with that ending, for the definitions that the file itself includes.
template <class Counts>
std::vector<std::string> headersOf(const Reading& reading, const std::string& ownFolder,
                                   std::string_view ending, Counts counts) {
    std::vector<std::string> headers;
    const std::set<uint32_t> matter = filesThatMatter(reading, counts);
    const std::vector<IncludedFile>& files = reading.source.files();
    for (uint32_t i = 1; i < files.size(); ++i) {
        // Headers of files included indirectly are included by those headers. A file without declarations has
        // no outputs.
        if (files[i].includer == SourceText::mainFile && matter.contains(i))
            headers.push_back(includeFor(reading, files[i], ownFolder, ending));
    }
    return headers;
}

} // namespace

std::string outputName(std::string_view definition, std::string_view ending) {
    const size_t slash = definition.rfind('/');
    const size_t dot = definition.rfind('.');
    // A dot at the start of a name, or in a folder's name, does not start a suffix.
    const bool hasSuffix = dot != definition.npos && (slash == definition.npos || dot > slash + 1);
    return std::string(hasSuffix ? definition.substr(0, dot) : definition).append(ending);
}

std::vector<std::string> includesOf(const Reading& reading, const std::string& ownFolder) {
    std::vector<std::string> includes{runtimeHeader};
    const auto add = [&](const std::string& include) {
        if (std::find(includes.begin(), includes.end(), include) == includes.end())
            includes.push_back(include);
    };
    // Headers of native types come first, since the headers of other definitions may use these types.
    for (const Model::Header& header : reading.model.headers()) {
        if (header.file == SourceText::mainFile)
            add("\"" + header.name + "\"");
    }
    for (const std::string& header :
         headersOf(reading, ownFolder, "_stub.h", [](const Declaration&) { return true; }))
        add(header);
    return includes;
}

std::vector<std::string> skeletonIncludesOf(const Reading& reading, const std::string& ownFolder) {
    std::vector<std::string> includes = headersOf(reading, ownFolder, "_skel.h", [](const Declaration& one) {
        return one.kind == Declaration::Kind::interface && static_cast<const Interface&>(one).complete;
    });
    const std::string& file = reading.source.files().front().name;
    const std::string stub = outputName(std::filesystem::path(file).filename().string(), "_stub.h");
    // The stub declares the classes that the skeletons derive from.
    includes.insert(includes.begin(),
                    isIn(file, ownFolder) ? "<harbolance/" + stub + ">" : "\"" + stub + "\"");
    return includes;
}

} // namespace harbidl
