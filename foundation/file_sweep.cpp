#include <foundation/file_sweep.h>

#include <foundation/text.h>
#include <foundation/trace_scope.h>
#include <platform/directory.h>
#include <platform/error.h>
#include <platform/files.h>
#include <tamba/config.h>

#include <algorithm>

namespace {

// A directory that is searched more often than this is indexed: then a search costs what it finds, not what is there.
constexpr int32_t kPlainSearches = 16;

std::string comparable(std::string name)
{
    if (pl_names_ignore_case())
        for (char &c : name)
            c = ascii_lower(c);
    return name;
}

bool matches(std::string_view mask, std::string_view name)
{
    size_t at = 0, in_name = 0, star = mask.npos, resume = 0;
    while (in_name < name.size()) {
        if (at < mask.size() && mask[at] == '*') {
            star = at++;
            resume = in_name;
        } else if (at < mask.size() && (mask[at] == '?' || mask[at] == name[in_name])) {
            ++at;
            ++in_name;
        } else if (star != mask.npos) { // the last star takes one character more
            at = star + 1;
            in_name = ++resume;
        } else {
            return false;
        }
    }
    return mask.find_first_not_of('*', at) == mask.npos;
}

std::string_view without_open_end(std::string_view mask)
{
    return mask.ends_with(".*") ? mask.substr(0, mask.size() - 2) : mask;
}

// The longest piece of a mask that every matching name holds.
std::string_view longest_literal(std::string_view mask)
{
    std::string_view longest, rest = without_open_end(mask);
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find_first_of("*?"));
        if (piece.size() > longest.size())
            longest = piece;
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
    }
    return longest;
}

} // namespace

bool matches_mask(std::string_view mask, std::string_view name)
{
    return matches(mask, name) || (mask.ends_with(".*") && matches(without_open_end(mask), name));
}

bool FileSweep::Listing::read(const std::string &directory)
{
    const bool read = pl_list_files(directory.c_str(), &names_);
    for (const std::string &name : names_)
        keys_.push_back(comparable(name));
    dropped_.resize(names_.size());
    return read;
}

void FileSweep::Listing::make_index()
{
    for (uint32_t name = 0; name < keys_.size(); ++name)
        for (uint32_t offset = 0; offset < keys_[name].size(); ++offset)
            index_.push_back({name, offset});
    std::sort(index_.begin(), index_.end(), [this](Suffix a, Suffix b) { return text(a) < text(b); });
}

// The names that hold a text, some of them twice; all when there is no index.
std::vector<uint32_t> FileSweep::Listing::holding(std::string_view wanted)
{
    std::vector<uint32_t> found;
    if (++searches_ == kPlainSearches)
        make_index();
    if (searches_ >= kPlainSearches && !wanted.empty()) {
        auto suffix = std::lower_bound(index_.begin(), index_.end(), wanted,
                                       [this](Suffix a, std::string_view b) { return text(a) < b; });
        for (; suffix != index_.end() && text(*suffix).starts_with(wanted); ++suffix)
            found.push_back(suffix->name);
    } else {
        for (uint32_t name = 0; name < keys_.size(); ++name)
            found.push_back(name);
    }
    return found;
}

std::vector<uint32_t> FileSweep::Listing::find(const std::string &mask)
{
    const std::string wanted = comparable(mask);
    std::vector<uint32_t> found = holding(longest_literal(wanted));
    std::erase_if(found, [&](uint32_t name) { return dropped_[name] || !matches_mask(wanted, keys_[name]); });
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

bool FileSweep::take_apart(const char *pattern, std::string *directory, std::string *mask)
{
    const auto refuse = [&](const char *reason) {
        trace_at(trace_, kTraceMain, "no file is deleted for \"%s\": %s", pattern, reason);
        return false;
    };
    FixedText<TAMBA_RESOLVE_SIZE> resolved{std::string_view(pattern)};
    const bool cut = resolved.length() < std::strlen(pattern);
    resolve_glbv(resolved.data());
    const std::string_view path = resolved.view();
    if (cut || path.size() + 1 >= resolved.capacity()) // a shorter pattern matches more
        return refuse("it is too long");
    const size_t separator = path.find_last_of("/\\"), colon = path.find(':');
    if (path == pattern && colon != path.npos && colon > 1 && colon < path.find_first_of("/\\"))
        return refuse("the variable is unknown");
    if (separator == path.npos)
        return refuse("there is no directory in it");
    *directory = path.substr(0, separator + 1);
    *mask = path.substr(separator + 1);
    return mask->find_first_not_of("*?.") != mask->npos || refuse("it stands for any file");
}

FileSweep::Listing *FileSweep::listing_of(const std::string &directory)
{
    const auto [place, is_new] = directories_.try_emplace(directory);
    if (is_new && !place->second.read(directory)) {
        char reason[256];
        pl_error_text(pl_last_error().number, reason, sizeof reason);
        trace_at(trace_, kTraceMain, "could not read the directory %s: %s", directory.c_str(), reason);
    }
    return &place->second;
}

int32_t FileSweep::remove(const char *pattern)
{
    std::string directory, mask;
    if (!take_apart(text_or_empty(pattern), &directory, &mask))
        return 0;
    Listing *const listing = listing_of(directory);
    int32_t removed = 0;
    for (const uint32_t position : listing->find(mask)) {
        const std::string file = directory + listing->name(position);
        if (pl_remove(file.c_str())) {
            listing->drop(position);
            ++removed;
        } else {
            char reason[256];
            pl_error_text(pl_last_error().number, reason, sizeof reason);
            trace_at(trace_, kTraceMain, "could not delete %s: %s", file.c_str(), reason);
        }
    }
    return removed;
}

int32_t i_DELETE_FILES(const char *pattern, TraceContext trace)
{
    return FileSweep(trace).remove(pattern);
}
