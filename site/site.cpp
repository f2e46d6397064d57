#include <site/site.h>

#include <platform/files.h>
#include <platform/process.h>
#include <platform/registry.h>
#include <site/site_files.h>
#include <tamba/config.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sqlite3.h>

namespace fs = std::filesystem;

namespace {

constexpr const char kCompanyKey[] = "Software\\Korvel\\tamba";
constexpr const char *const kDirectories[] = {"ini", "lgc", "work/sem",  "work/site", "glbv", "info",
                                              "db",  "log", "bin/tamba", "registry",  "lis",  "prepost"};
constexpr const char *const kPrograms[] = {"tb_init",
                                           "tb_alarm",
                                           "tb_os_startup",
                                           "tb_notify",
                                           "tb_arch",
                                           "tb_qm",
                                           "damisql",
                                           "tbc",
                                           "tb_client",
                                           "jrsh",
                                           "rsh",
                                           "tb_ctrlc",
                                           "tb_tbs_interface",
                                           "tb_ndmp_interface",
                                           "tb_loader"};

struct Variable {
    const char *name, *relative; // directories below the root end with "/"
};
constexpr Variable kVariables[] = {
    {"gv_rw", ""},
    {"gv_rw_ini", "ini/"},
    {"gv_rw_lgc", "lgc/"},
    {"gv_rw_work", "work/"},
    {"gv_rw_tmp", "work/"},
    {"gv_rw_glbv", "glbv/"},
    {"gv_rw_info", "info/"},
    {"gv_rw_db", "db/"},
    {"gv_rw_lis", "lis/"},
    {"gv_rw_prepost", "prepost/"},
    {"gv_ro_bin", "bin/tamba/"},
    {"gv_ro_db", "bin/tamba/"},
    {"gv_ro_tbs", "bin/tamba/"},
    {"gv_prot", "log/tamba.prot"},
    {"gv_dayfile", "log/tamba.day"},
};

bool fail(std::string *problem, const std::string &reason)
{
    if (problem)
        *problem = reason;
    return false;
}

void replace_all(std::string *text, const std::string &what, const std::string &by)
{
    for (size_t at = 0; (at = text->find(what, at)) != std::string::npos; at += by.size())
        text->replace(at, what.size(), by);
}

std::string ini_text(const Site &site, const std::string &language)
{
    std::string text = kIniTemplate;
    replace_all(&text, "$ROOT$", site.root);
    replace_all(&text, "$LANG$", language);
    for (const char *directory : {"INI", "LGC", "WORK", "INFO", "GLBV", "DB"}) {
        std::string name = directory;
        for (char &c : name)
            c = static_cast<char>(c + ('a' - 'A'));
        replace_all(&text, std::string("$") + directory + "$", name + pl_path_separator());
    }
    return text;
}

bool write_variables(const Site &site)
{
    const auto set = [](const char *name, const std::string &text) {
        char value[TAMBA_GLBV_SIZE];
        std::snprintf(value, sizeof value, "%s", text.c_str());
        return glbv("w", name, value)[0] != '?';
    };
    bool written = set("gv_db_type", "sqlite");
    for (const Variable &variable : kVariables)
        written = set(variable.name, site.path(variable.relative)) && written;
    return written;
}

using Connection = std::unique_ptr<sqlite3, int (*)(sqlite3 *)>;

Connection open_catalogue(const Site &site)
{
    sqlite3 *db = nullptr;
    sqlite3_open(pl_library_path(site.path("db/tamba_db.sdb").c_str()).c_str(), &db);
    sqlite3_busy_timeout(db, 10000);
    sqlite3_exec(db, "pragma synchronous=off", nullptr, nullptr,
                 nullptr); // a site need not survive a power cut
    return {db, sqlite3_close};
}

bool copy_program(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    fs::remove(to, error);
    fs::create_symlink(from, to, error);
    if (error)
        fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    return !error;
}

} // namespace

std::string Site::path(const std::string &relative) const
{
    return root + fs::path(relative).make_preferred().string();
}

Site open_site(const std::string &directory)
{
    fs::path root = fs::absolute(fs::path(directory)).lexically_normal() / "";
    const Site site{root.make_preferred().string()};
    pl_setenv("TAMBA_REGISTRY", site.path("registry").c_str());
    return site;
}

bool make_site(const std::string &directory, const std::string &language, Site *site, std::string *problem)
{
    *site = open_site(directory);
    std::error_code error;
    for (const char *name : kDirectories) {
        fs::create_directories(site->path(name), error);
        if (error)
            return fail(problem, site->path(name) + ": " + error.message());
    }
    const std::string ini = site->path("ini/tb.ini");
    if (!write_text(ini, ini_text(*site, language)) || !write_text(site->path("ini/debug.ini"), ""))
        return fail(problem, ini + ": cannot be written");
    if (!pl_reg_write(kCompanyKey, "TB_INI", ini.c_str()) || !write_variables(*site))
        return fail(problem, "the registry cannot be written");
    return site_sql(*site, std::string(kCatalogue) + kSeed, problem);
}

bool install_programs(const Site &site, std::string *problem)
{
    const fs::path from = fs::absolute(TAMBA_STANDIN), to = site.path("bin/tamba/");
    for (const std::string name : kPrograms)
        if (!copy_program(from, to / name) || !copy_program(from, to / (name + ".exe")))
            return fail(problem, name + ": cannot be installed from " TAMBA_STANDIN);
    if (fs::path(TAMBA_GZIP).has_extension() && // systems that name programs so have none of their own
        !install_gzip(site))
        return fail(problem, "gzip: cannot be installed from " TAMBA_GZIP);
    // A copy does not find the shared libraries that lie beside the original.
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(from.parent_path(), error))
        if (entry.path().extension() == ".dll" && !copy_program(entry.path(), to / entry.path().filename()))
            return fail(problem, entry.path().string() + ": cannot be installed");
    return true;
}

bool install_gzip(const Site &site)
{
    const fs::path from = fs::absolute(TAMBA_GZIP), to = site.path("bin/tamba/");
    return copy_program(from, to / ("gzip" + from.extension().string())) &&
           copy_program(from, to / ("gunzip" + from.extension().string()));
}

bool set_trace_level(const Site &site, const std::string &module, int level)
{
    const std::string file = site.path("ini/debug.ini"), key = module + "=";
    std::string text;
    for (const std::string &line : lines_of(read_text(file)))
        if (line.compare(0, key.size(), key) != 0)
            text += line + "\n";
    return write_text(file, text + key + std::to_string(level) + "\n");
}

bool set_ini_value(const Site &site, const std::string &key, const std::string &value)
{
    const std::string file = site.path("ini/tb.ini");
    std::string text;
    for (const std::string &line : lines_of(read_text(file)))
        text += (line.compare(0, key.size() + 1, key + "=") == 0 ? key + "=" + value : line) + "\n";
    return write_text(file, text);
}

bool put_into_drive(const Site &site, const std::string &drive_num, const std::string &medium)
{
    const std::string text = medium + "\n";
    return pl_replace_file(site.path("work/site/drive_" + drive_num).c_str(), text.data(), text.size());
}

std::string medium_in_drive(const Site &site, const std::string &drive_num)
{
    const std::vector<std::string> lines = lines_of(read_text(site.path("work/site/drive_" + drive_num)));
    return lines.empty() ? "" : lines[0];
}

bool site_sql(const Site &site, const std::string &statements, std::string *problem)
{
    const Connection db = open_catalogue(site);
    if (sqlite3_exec(db.get(), statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK)
        return true;
    return fail(problem, std::string("catalogue: ") + sqlite3_errmsg(db.get()));
}

std::vector<SiteRow> site_rows(const Site &site, const std::string &query)
{
    const auto collect = [](void *rows, int columns, char **values, char **) {
        SiteRow row;
        for (int i = 0; i < columns; ++i)
            row.emplace_back(values[i] ? values[i] : "NULL");
        static_cast<std::vector<SiteRow> *>(rows)->push_back(std::move(row));
        return 0;
    };
    std::vector<SiteRow> rows;
    sqlite3_exec(open_catalogue(site).get(), query.c_str(), collect, &rows, nullptr);
    return rows;
}

std::string dump_catalogue(const Site &site)
{
    std::string dump;
    for (const SiteRow &table :
         site_rows(site, "select name from sqlite_master where type='table' order by name"))
        for (const SiteRow &row : site_rows(site, "select * from " + table[0] + " order by rowid")) {
            dump += table[0];
            for (const std::string &value : row)
                dump += "|" + value;
            dump += "\n";
        }
    return dump;
}

std::string read_text(const std::string &path)
{
    std::string text;
    if (FILE *file = pl_fopen(path.c_str(), "r")) {
        char block[4096];
        while (const size_t length = std::fread(block, 1, sizeof block, file))
            text.append(block, length);
        std::fclose(file);
    }
    return text;
}

bool write_text(const std::string &path, const std::string &text)
{
    FILE *file = pl_fopen(path.c_str(), "w");
    if (!file)
        return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::vector<std::string> calls(const Site &site)
{
    return lines_of(read_text(site.path("work/site/calls.log")));
}

std::string script_path(const Site &site, const std::string &program, const std::string &kind)
{
    return site.path("work/site/" + program + "." + kind);
}
