// tb_qm: job queues in text files, work/site/queue_<name>, a job a line ("name time date program arguments").
//
// Script: work/site/tb_qm.answer_<sub-command> is printed as the whole answer, and the queue stays as it is.
#include <site/standin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

struct Queue {
    std::string file, state; // "started", "stopped" or "blocked"
    std::vector<std::string> jobs;
    bool exists = false;

    explicit Queue(const std::string &name) : file(global("gv_rw_work") + "site/queue_" + name)
    {
        std::ifstream in(file);
        exists = static_cast<bool>(std::getline(in, state));
        for (std::string job; std::getline(in, job);)
            jobs.push_back(job);
    }
    void save() const
    {
        std::ofstream out(file);
        out << state << '\n';
        for (const std::string &job : jobs)
            out << job << '\n';
    }
};

int answer(const char *status, const std::string &message)
{
    std::printf("STATUS=%s MSG=%s\n", status, message.c_str());
    return std::string(status) == "ERROR" ? 1 : 0;
}

int change_state(Queue &queue, const std::string &state)
{
    queue.state = state;
    queue.save();
    return answer("SUCCESS", "queue is " + state);
}

std::string first_word(const std::string &text)
{
    return text.substr(0, text.find(' '));
}

int show_job(const Queue &queue, const std::string &name, const std::string &position)
{
    const size_t number = static_cast<size_t>(std::atoi(position.c_str()));
    for (size_t i = 0; i < queue.jobs.size(); ++i)
        if (name.empty() ? i + 1 == number : first_word(queue.jobs[i]) == name)
            return answer("SUCCESS", queue.jobs[i]);
    return answer("ERROR", "no such job");
}

// tb_qm que_submit queue time date name parameter program argument...
int submit(Queue &queue, const Call &call)
{
    std::string job = call.argument(4) + " " + call.argument(2) + " " + call.argument(3);
    for (size_t i = 5; i < call.arguments.size(); ++i)
        job += " " + call.arguments[i];
    queue.jobs.push_back(job);
    queue.save();
    return answer("SUCCESS", "job " + call.argument(4) + " is number " + std::to_string(queue.jobs.size()));
}

// An entry is "queue/name".
int delete_entry(const std::string &entry)
{
    const size_t slash = std::min(entry.find('/'), entry.size());
    Queue queue(entry.substr(0, slash));
    const std::string name = entry.substr(std::min(slash + 1, entry.size()));
    const auto job = std::find_if(queue.jobs.begin(), queue.jobs.end(),
                                  [&](const std::string &text) { return first_word(text) == name; });
    if (job == queue.jobs.end())
        return answer("ERROR", "no entry " + entry);
    queue.jobs.erase(job);
    queue.save();
    return answer("SUCCESS", "entry deleted");
}

int show(const Queue &queue)
{
    const std::string text = "queue is " + queue.state + ", jobs: " + std::to_string(queue.jobs.size());
    return answer(queue.state == "blocked" ? "WARNING" : "SUCCESS", text);
}

} // namespace

int tb_qm(const Call &call)
{
    const std::string sub = call.argument(0);
    std::string scripted;
    if (read_script(call, "answer_" + sub, &scripted)) {
        std::fwrite(scripted.data(), 1, scripted.size(), stdout);
        return 0;
    }
    if (sub == "que_del_entry")
        return delete_entry(call.argument(1));
    Queue queue(call.argument(1));
    if (sub == "init")
        return change_state(queue, "stopped");
    if (!queue.exists)
        return answer("ERROR", "no queue " + call.argument(1));
    if (sub == "block" || sub == "start" || sub == "stop")
        return change_state(queue, sub == "block" ? "blocked" : sub == "start" ? "started" : "stopped");
    if (sub == "delete")
        return std::filesystem::remove(queue.file) ? answer("SUCCESS", "queue deleted")
                                                   : answer("ERROR", queue.file);
    if (sub == "sho")
        return show(queue);
    if (sub == "job_sho")
        return show_job(queue, call.argument(2), call.argument(3));
    if (sub == "que_submit")
        return submit(queue, call);
    return answer("ERROR", "unknown command " + sub);
}
