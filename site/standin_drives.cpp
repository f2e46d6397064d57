// Programs that drive tapes: tb_tbs_interface, tb_ndmp_interface, tb_loader, and the functions of tb_client that ask for
// drives.
//
// A drive is the file work/site/drive_<number>.  Its first line is the medium in it: a label, which " WORM" may follow, "-"
// for a medium without a label, nothing for none.  A second line "offline" takes the drive off line.  What lies in a slot
// stands in work/site/slot_<loader>_<slot>, else in the catalogue.  The media server's state is work/site/tbs_state.
//
// Scripts: work/site/<name>.answer_<sub-command>, else work/site/<name>.answer, is printed as the whole answer and nothing
// is done.  Lines that begin with "@" act: "@exit N" sets the exit code, "@pause MS" waits, "@bytes" sends what follows byte
// by byte, "@die" kills the program.
#include <site/standin.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

// ---- scripts --------------------------------------------------------------------------------------------------------

void print(const std::string &text, bool byte_by_byte)
{
    for (size_t at = 0; at < text.size(); at += byte_by_byte ? 1 : text.size()) {
        std::fwrite(text.data() + at, 1, byte_by_byte ? 1 : text.size(), stdout);
        std::fflush(stdout);
        if (byte_by_byte)
            wait_msec(1);
    }
}

int play(const std::string &text)
{
    int code = 0;
    bool byte_by_byte = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int number = 0;
        if (std::sscanf(line.c_str(), "@exit %d", &number) == 1)
            code = number;
        else if (std::sscanf(line.c_str(), "@pause %d", &number) == 1)
            wait_msec(number);
        else if (line == "@bytes")
            byte_by_byte = true;
        else if (line == "@die")
            std::raise(SIGTERM);
        else
            print(lines.eof() ? line : line + "\n", byte_by_byte);
    }
    return code;
}

bool scripted(const Call &call, const std::string &sub, int *code)
{
    std::string text;
    if (!read_script(call, "answer_" + sub, &text) && !read_script(call, "answer", &text))
        return false;
    *code = play(text);
    return true;
}

int answer(const char *status, const std::string &message)
{
    std::printf("STATUS=%s MSG=%s\n", status, message.c_str());
    return status[0] == 'S' ? 0 : 1;
}

// ---- drives ---------------------------------------------------------------------------------------------------------

std::string value_of(const Call &call, const std::string &sql, const char *column)
{
    char value[4096] = "";
    return iDB_SEL_GETVALUE(sql.c_str(), column, value, call.trace) == 1 ? value : "";
}

std::string in_quotes(const std::string &text)
{
    char value[512 + 3];
    std::snprintf(value, sizeof value, "%s", text.c_str());
    return "'" + std::string(db_string(value, 510)) + "'";
}

struct Drive {
    std::string number, medium, state;

    explicit Drive(const std::string &drive_num) : number(drive_num)
    {
        std::ifstream in(file());
        std::getline(in, medium);
        std::getline(in, state);
    }
    static Drive of_device(const Call &call, const std::string &device)
    {
        return Drive(value_of(
            call, "select drive_num from hw_drives where device=" + in_quotes(device) + " order by drive_num",
            "drive_num"));
    }
    bool exists() const { return !number.empty(); }
    bool empty() const { return medium.empty(); }
    bool offline() const { return state == "offline"; }
    // In one step: another program that looks meanwhile would take an empty file for an empty drive.
    void hold(const std::string &text)
    {
        medium = text;
        const std::string fresh = file() + ".new";
        std::ofstream(fresh) << medium << '\n' << state << '\n';
        std::error_code error;
        std::filesystem::rename(fresh, file(), error);
        for (int i = 0; error && i < 1000; ++i) { // Windows replaces no file that somebody reads
            wait_msec(5);
            std::filesystem::rename(fresh, file(), error);
        }
    }

private:
    std::string file() const { return global("gv_rw_work") + "site/drive_" + number; }
};

int get_label(const Drive &drive)
{
    if (drive.medium == "-")
        return answer("ERROR", "1011: Tapemark detected");
    return answer("SUCCESS", "Tapelabel: " + drive.medium);
}

// The label comes as pool and number.
int init(Drive &drive, const std::string &text)
{
    const size_t colon = text.find(':');
    char label[512];
    std::snprintf(label, sizeof label, "%s%05d", text.substr(0, colon).c_str(),
                  colon == text.npos ? 0 : std::atoi(text.c_str() + colon + 1));
    drive.hold(label);
    return answer("SUCCESS", "Tapelabel: " + drive.medium);
}

int list(const Drive &drive)
{
    std::printf("%s saveset 1 /home\n%s saveset 2 /var\n", drive.medium.c_str(), drive.medium.c_str());
    return answer("SUCCESS", "2 savesets");
}

int drive_program(const Call &call)
{
    const std::string sub = call.argument(0), device = call.option("-d");
    int code = 0;
    if (scripted(call, sub, &code))
        return code;
    Drive drive = Drive::of_device(call, device);
    if (!drive.exists())
        return answer("ERROR", device + ": No such device");
    if (drive.offline())
        return answer("ERROR", "drive " + device + " is offline");
    if (drive.empty())
        return answer("ERROR", "No tape in drive");
    if (sub == "getlabel")
        return get_label(drive);
    if (sub == "init")
        return init(drive, call.option("-t"));
    if (sub == "dir")
        return list(drive);
    if (sub == "backup_file")
        return answer("SUCCESS", "spare file written");
    if (sub != "unload")
        return answer("ERROR", "unknown sub-command " + sub);
    drive.hold("");
    return answer("SUCCESS", "unloaded");
}

// ---- loaders --------------------------------------------------------------------------------------------------------

int report_loader(const std::string &loader, const char *status, const std::string &text)
{
    set_global("gv_loader_msg_" + loader, text);
    set_global("gv_loader_sts_" + loader, status);
    return *status == '+' ? 0 : 1;
}

std::string medium_in(const Call &call, const std::string &loader, const std::string &slot)
{
    const std::string control =
        value_of(call, "select ctrl from hw_loaders where loader_num=" + in_quotes(loader), "ctrl");
    if (control.find("VIRT") != control.npos)
        return slot; // its media are addressed by their labels
    std::ifstream file(global("gv_rw_work") + "site/slot_" + loader + "_" + slot);
    std::string medium;
    if (std::getline(file, medium))
        return medium;
    return value_of(
        call, "select label from media where lader=" + in_quotes(loader) + " and slot=" + in_quotes(slot),
        "label");
}

} // namespace

bool insert_medium(const std::string &drive_num, const std::string &medium)
{
    Drive drive(drive_num);
    if (!drive.empty())
        return false;
    drive.hold(medium);
    return true;
}

void label_medium(const std::string &drive_num, const std::string &label)
{
    Drive drive(drive_num);
    if (!drive.empty())
        drive.hold(label);
}

int tb_tbs_interface(const Call &call)
{
    return drive_program(call);
}

int tb_ndmp_interface(const Call &call)
{
    return drive_program(call);
}

// tb_loader L -l LOADER -d DRIVE -s SLOT: what lies in the slot goes into the drive.  A script of this program sets its
// variables: the first line the status, the rest the message; "@" lines act as above.
int tb_loader(const Call &call)
{
    const std::string loader = call.option("-l"), slot = call.option("-s");
    std::string text;
    if (read_script(call, "answer", &text)) {
        if (text[0] == '@')
            return play(text);
        const size_t end = text.find('\n');
        report_loader(loader, text.substr(0, end).c_str(), end == text.npos ? "" : text.substr(end + 1));
        return 0;
    }
    Drive drive(call.option("-d"));
    if (call.argument(0) == "U") {
        drive.hold("");
        return report_loader(loader, "+", "drive " + drive.number + " is empty");
    }
    if (!drive.empty())
        return report_loader(loader, "-", "drive " + drive.number + " is occupied by " + drive.medium);
    const std::string medium = medium_in(call, loader, slot);
    if (medium.empty())
        return report_loader(loader, "-", "slot " + slot + " is empty");
    drive.hold(medium);
    return report_loader(loader, "+", "slot " + slot + " loaded into drive " + drive.number);
}

// tb_client -r -f usefile -m e -n NAME: is there such a file?
int client_file(const Call &call)
{
    char path[TAMBA_RESOLVE_SIZE];
    std::snprintf(path, sizeof path, "%s", call.option("-n").c_str());
    resolve_glbv(path);
    return std::ifstream(path) ? answer("SUCCESS", path) : answer("ERROR", std::string(path) + " not found");
}

// tb_client -r -f tapestatus -n DEVICE
int client_tape(const Call &call)
{
    int code = 0;
    if (scripted(call, "tapestatus", &code))
        return code;
    const Drive drive = Drive::of_device(call, call.option("-n"));
    if (!drive.exists())
        return answer("ERROR", "\"No such device or address\"");
    if (drive.offline())
        return answer("ERROR", "\"Drive is not ready\"");
    return drive.empty() ? answer("ERROR", "\"No tape in drive\"") : answer("SUCCESS", "online");
}

// tb_client -i ID -c HOST -f perform -d DEVICE -s SERVER: leaves the performance line under the id.
int client_performance(const Call &call)
{
    const std::string id = call.option("-i");
    std::string state;
    if (std::ifstream file(global("gv_rw_work") + "site/tbs_state"); !std::getline(file, state))
        state = "WRITING";
    if (state == "?")
        return 1; // nobody answers
    set_global("gv_client_msg_" + id,
               "3 " + call.option("-s") + " STATUS: " + state + " THROUGHPUT: 12.5 GB/h 1 2");
    set_global("gv_client_sts_" + id, "+");
    return 0;
}
