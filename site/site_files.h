// Texts of the site that are built into the programs, so that a site needs no source tree.
#pragma once

extern const char *const kCatalogue;
extern const char *const kSeed;
extern const char *const kIniTemplate;
