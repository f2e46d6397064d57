// What a call left behind on the site: programs started, media and drives in the catalogue, protocol, info board, trace.
#pragma once

#include <site/site.h>

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// The state of the site at one moment.
struct Evidence {
    Lines calls, protocol, board, trace;
    std::vector<SiteRow> media, drives;
    std::vector<SiteRow> results; // name and state of savesets, events, and savesets on media
};

Evidence look_at(const Site &site, const std::string &trace_file);

// What changed between two moments.
struct Difference {
    Lines calls, protocol, board, trace;
    Lines
        catalogue; // "label: column old -> new", "label: new ...", "label: gone", "drive 3: label old -> new", "saveset S: state a -> state X"
};

Difference difference(const Evidence &before, const Evidence &after);

// True when one of the lines contains the text.
bool any_contains(const Lines &lines, const std::string &text);
