// Deleting files by pattern.
#pragma once

#include <tamba/trace.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Whether a name matches a mask: "*" stands for any text, "?" for one character, and a ".*" at the end also for nothing.
bool matches_mask(std::string_view mask, std::string_view name);

// One cleanup: each directory is read once, when its first pattern comes, however many follow.  Files that appear later
// are not seen.  trace outlives it.
class FileSweep {
public:
    explicit FileSweep(TraceContext &trace) : trace_(trace) {}

    // Deletes the plain files of a directory that match.  The mask stands behind the last separator; a leading global
    // variable is replaced by its value.  Letter case counts where the system's file names do.  Refused, with a line in
    // the trace: an unknown variable, no directory, a mask without any letter of a name, a pattern that would be cut.
    // Returns the number of files deleted.
    int32_t remove(const char *pattern);

private:
    // The names of a directory's files.
    class Listing {
    public:
        bool read(const std::string &directory);
        // The positions of the names that match and have not been dropped.
        std::vector<uint32_t> find(const std::string &mask);
        const std::string &name(uint32_t position) const { return names_[position]; }
        void drop(uint32_t position) { dropped_[position] = true; }

    private:
        struct Suffix {
            uint32_t name, offset;
        };
        std::string_view text(Suffix suffix) const
        {
            return std::string_view(keys_[suffix.name]).substr(suffix.offset);
        }
        void make_index();
        std::vector<uint32_t> holding(std::string_view text);

        std::vector<std::string> names_, keys_; // keys_: as they are compared
        std::vector<bool> dropped_;
        std::vector<Suffix>
            index_; // the ends of all keys in the order of their bytes, once there were many searches
        int32_t searches_ = 0;
    };

    bool take_apart(const char *pattern, std::string *directory, std::string *mask);
    Listing *listing_of(const std::string &directory);

    TraceContext &trace_;
    std::map<std::string, Listing> directories_;
};

// One pattern.
int32_t i_DELETE_FILES(const char *pattern, TraceContext trace);
