#include "model/repository_ids.h"

namespace harbidl {

namespace {

bool hasId(const Declaration& declaration) {
    // Members have no id of their own; a part of a module has the module's id.
    return declaration.kind != Declaration::Kind::member && declaration.kind != Declaration::Kind::opening;
}

std::string path(const Declaration& declaration) {
    std::string text = declaration.scopedName();
    // A name has no "/", so the search can go on at the same place.
    for (size_t i = text.find("::"); i != text.npos; i = text.find("::", i))
        text.replace(i, 2, "/");
    return text;
}

} // namespace

void RepositoryIds::assign(Declaration& declaration) {
    const std::string& prefix = prefixes_[declaration.file];
    // The form "IDL:" prefix "/" names ":" version. Kinds that have no id get one too, which is not shown
    // anywhere.
    declaration.id = "IDL:" + (prefix.empty() ? "" : prefix + "/") + path(declaration) + ":1.0";
}

void RepositoryIds::apply(Scope& scope, const tree::Pragma& pragma) {
    Declaration* const declaration = names_.find(scope, pragma.name);
    if (!declaration)
        return;
    if (!hasId(*declaration)) {
        diagnostics_.error(pragma.name.position, "'" + declaration->name + "' has no repository id",
                           declaration->position, "declared here");
        return;
    }
    const std::string before = declaration->id;
    if (pragma.kind == tree::Pragma::Kind::id)
        setId(*declaration, pragma);
    else
        setVersion(*declaration, pragma);
    // A second pragma may repeat the first, as in a file that is included twice, but not change it.
    const bool first = fixed_.insert(declaration).second;
    if (!first && declaration->id != before)
        diagnostics_.error(pragma.name.position,
                           "'" + declaration->name + "' has been given another repository id: " + before);
}

void RepositoryIds::setId(Declaration& declaration, const tree::Pragma& pragma) {
    const size_t colon = pragma.text.find(':');
    // Ids in other formats, such as DCE, are used unchanged.
    if (colon == 0 || colon == pragma.text.npos)
        diagnostics_.error(pragma.name.position, "a repository id has the form \"format:text\"");
    else
        declaration.id = pragma.text;
}

void RepositoryIds::setVersion(Declaration& declaration, const tree::Pragma& pragma) {
    // Only this format is known to have a version behind its last colon.
    if (!declaration.id.starts_with("IDL:"))
        diagnostics_.error(pragma.name.position,
                           "the repository id \"" + declaration.id + "\" has no version");
    else
        declaration.id = declaration.id.substr(0, declaration.id.rfind(':') + 1) + pragma.text;
}

} // namespace harbidl
