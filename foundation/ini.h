// The ini file as one consistent reading: several keys of one state of the file, at the price of one look at
// it.
#pragma once

#include <foundation/text.h>

#include <memory>
#include <string>
#include <string_view>

class IniFile {
public:
    // The file with this path.  loaded() is false when it cannot be read.
    static IniFile at(const char *path);

    // The ini file of the system, found through the registry value (null or "" means "TB_INI").  When there
    // is none, loaded() is false and err says why.
    static IniFile of_system(const char *value_name, char *err, size_t err_size);

    // The same reading as the last one of this process if that is at most a few milliseconds old.  For services that run
    // so often that looking whether the configuration has changed would be most of their price.
    static IniFile of_system_recent();
    static void forget_recent(); // for a test that sets up one site after another

    bool loaded() const { return text_ != nullptr; }

    // Whether both hold the text of one and the same reading.
    bool same_reading(const IniFile &other) const { return text_ == other.text_; }

    // The rules of i_GetPrivateProfileString.
    bool read(const char *section, const char *key, char *value, size_t value_size, char *err,
              size_t err_size) const;

private:
    std::shared_ptr<const std::string> text_;
    FixedText<1024> path_;
};
