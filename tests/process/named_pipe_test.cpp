// Two ends of one pipe, in two processes or in two threads.
#include "tests/support/child.h"
#include "tests/support/test_site.h"

#include <platform/error.h>
#include <platform/process.h>
#include <process/pipe_timing.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <thread>

namespace {

class NamedPipes : public TestSite {
protected:
    void SetUp() override
    {
        TestSite::SetUp();
        name = "Tamba-Test-" + std::to_string(pl_process_id());
        pipe_timing.busy_pause_ms = 1;
        pipe_timing.busy_tries = 3;
        pipe_timing.receive_ms = 20;
        pipe_timing.sender_ms = 50;
    }
    void TearDown() override
    {
        pipe_timing = {};
        TestSite::TearDown();
    }
    // A call with a message buffer; its text stays in msg.
    template <class Call> int32_t ask(Call call)
    {
        char text[1200] = "#";
        const int32_t result = call(text, int32_t{sizeof text});
        msg = text;
        return result;
    }
    int32_t create(int32_t mode, TB_HANDLE *handle)
    {
        return ask(
            [&](char *t, int32_t s) { return iCreateAndOpenNamedPipe(name.c_str(), mode, handle, t, s); });
    }
    int32_t open(int32_t mode, TB_HANDLE *handle)
    {
        return ask([&](char *t, int32_t s) { return iOpenNamedPipe(name.c_str(), mode, handle, t, s); });
    }
    int32_t write(TB_HANDLE handle, const char *text, int32_t length = -1)
    {
        return ask([&](char *t, int32_t s) { return iWriteNamedPipe(handle, text, length, t, s); });
    }
    std::string read(TB_HANDLE handle, int32_t *count)
    {
        char buffer[64];
        *count =
            ask([&](char *t, int32_t s) { return iReadNamedPipe(handle, buffer, sizeof buffer - 1, t, s); });
        return std::string(buffer, static_cast<size_t>(std::max(*count, 0)));
    }

    std::string name, msg;
};

TAMBA_CHILD(write_to_pipe)
{
    TB_HANDLE handle = nullptr;
    char msg[512];
    if (!iOpenNamedPipe(arguments[0].c_str(), 1, &handle, msg, sizeof msg))
        return 1;
    for (const char *text : {"one\n", "", "two and more\n"})
        if (iWriteNamedPipe(handle, text, -1, msg, sizeof msg) != static_cast<int32_t>(std::strlen(text)))
            return 2;
    return iCloseNamedPipe(handle) == 1 ? 0 : 3;
}

TEST_F(NamedPipes, BytesFlowBetweenTwoProcessesUntilTheWriterCloses)
{
    TB_HANDLE pipe = nullptr;
    ASSERT_EQ(create(0, &pipe), 1) << msg;
    EXPECT_EQ(msg, "CreateAndOpenNamedPipe \\\\.\\pipe\\" + name + " successful");
    Child child("write_to_pipe", {"\\\\.\\pipe\\" + name}); // the prefix may be there
    int32_t count = 1;
    std::string all = read(pipe, &count); // waits for the client
    EXPECT_EQ(msg, "ReadNamedPipe: " + std::to_string(count) + " bytes successfully read");
    char line[64] = "";
    while (count > 0 && all.find('\n') == std::string::npos)
        all += read(pipe, &count);
    if (all == "one\n") {
        EXPECT_EQ(iReadLine(pipe, line, sizeof line), 1);
        EXPECT_STREQ(line, "two and more");
    }
    while (count > 0)
        all += read(pipe, &count);
    EXPECT_EQ(all.substr(0, 4), "one\n");
    EXPECT_EQ(msg, "ReadNamedPipe: successfully done");
    EXPECT_EQ(read(pipe, &count), "") << "the end stays the end";
    EXPECT_EQ(count, 0);
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(iCloseNamedPipe(pipe), 1);
    EXPECT_EQ(iCloseNamedPipe(pipe), 0) << "once";
}

TEST_F(NamedPipes, EveryFailureIsNamed)
{
    TB_HANDLE pipe = nullptr, other = nullptr, client = nullptr;
    int32_t count = 0;
    // The kind of error shows as the platform's own number.
    const auto failed = [&](int32_t result, int32_t expected, std::string prefix, PlKind kind) {
        pl_fail_as(kind);
        prefix += "(" + std::to_string(pl_last_error().number) + ") ";
        EXPECT_EQ(result, expected) << msg;
        EXPECT_EQ(msg.substr(0, prefix.size()), prefix) << msg;
    };
    const std::string full = "\\\\.\\pipe\\" + name, opening = "CreateFile " + full + " failed: ";
    failed(open(1, &client), 0, opening, PL_FILE_NOT_FOUND);
    failed(create(3, &pipe), 0, "CreateNamedPipe failed: ", PL_INVALID_PARAMETER);
    failed(open(-1, &client), 0, opening, PL_INVALID_PARAMETER);
    ASSERT_EQ(create(1, &pipe), 1);
    failed(create(0, &other), 0, "CreateNamedPipe failed: ", PL_PIPE_BUSY);
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    std::swap(upper, name);
    failed(create(1, &other), 0, "CreateNamedPipe failed: ", PL_PIPE_BUSY);
    std::swap(upper, name);
    failed(open(1, &client), 0, opening, PL_ACCESS_DENIED);
    failed(write(pipe, "x"), -1, "WriteFile failed: ", PL_PIPE_LISTENING);
    ASSERT_EQ(open(0, &client), 1) << msg;
    EXPECT_EQ(msg, "CreateFile " + full + " successful");
    failed(open(0, &other), 0, opening, PL_PIPE_BUSY);
    failed(write(client, "x"), -1, "WriteFile failed: ", PL_ACCESS_DENIED);
    EXPECT_EQ(read(pipe, &count), "");
    failed(count, -1, "ReadNamedPipe: ReadFile failed: ", PL_ACCESS_DENIED);
    IPC channel{};
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &channel, 'r'), 0) << "pipes and channels share their names";
    std::string received;
    std::thread reader([&] { received = read(client, &count); });
    char text[64];
    EXPECT_EQ(iWriteNamedPipe(pipe, "abc", 2, text, sizeof text), 2);
    EXPECT_STREQ(text, "2/2 bytes successfully written");
    reader.join();
    EXPECT_EQ(received, "ab");
    EXPECT_EQ(iCloseNamedPipe(client), 1);
    failed(write(pipe, "x"), -1, "WriteFile failed: ", PL_NO_DATA);
    EXPECT_EQ(iCloseNamedPipe(pipe), 1);
    EXPECT_EQ(read(pipe, &count), "");
    failed(count, -1, "ReadNamedPipe: ReadFile failed: ", PL_INVALID_HANDLE);
    EXPECT_EQ(create(2, &pipe), 1) << "the name is free again";
    EXPECT_EQ(iCloseNamedPipe(pipe), 1);
}

TEST_F(NamedPipes, ASecondClientIsLetInAtNoMoment)
{
    pipe_timing.busy_tries = 1;
    for (int i = 0; i < 100; ++i) {
        TB_HANDLE pipe = nullptr, client = nullptr;
        ASSERT_EQ(create(0, &pipe), 1) << msg;
        ASSERT_EQ(open(1, &client), 1) << msg;
        std::atomic<bool> done = false, tried = false;
        int let_in = 0;
        std::thread other([&] {
            TB_HANDLE late = nullptr;
            char text[256];
            for (; !done; tried = true)
                if (iOpenNamedPipe(name.c_str(), 1, &late, text, sizeof text) == 1)
                    let_in += iCloseNamedPipe(late);
        });
        while (!tried)
            std::this_thread::yield();
        std::thread writer([client] { // it may wait for the reader
            char text[256];
            EXPECT_EQ(iWriteNamedPipe(client, "x", 1, text, sizeof text), 1);
        });
        int32_t count = 0;
        EXPECT_EQ(read(pipe, &count), "x");
        done = true;
        other.join();
        writer.join();
        EXPECT_EQ(let_in, 0) << "round " << i;
        EXPECT_EQ(iCloseNamedPipe(client) + iCloseNamedPipe(pipe), 2);
    }
}

// ---- the message channel --------------------------------------------------------------------------------------------

class Channels : public NamedPipes {
protected:
    // Calls until something has come; the number of the result, the text, its length.
    std::string next(int32_t size = 64)
    {
        std::string out(static_cast<size_t>(size), '#');
        int32_t length = -1, result = 1;
        for (int i = 0; i < limit && (result == 1 || (result == 3 && patient)); ++i)
            result = iIPC_RECEIVE(&receiver, out.data(), size, &length);
        return std::to_string(result) + " " + out.c_str() + " " + std::to_string(length);
    }

    IPC receiver{};
    bool patient = true; // a time-out is waited out
    int limit = 1000;    // calls
};

TAMBA_CHILD(send_messages)
{
    IPC ipc{};
    pipe_timing.sender_ms = 20000;
    if (iIPC_OPEN(arguments[0].c_str(), &ipc, 'w') != 1)
        return 1;
    for (size_t i = 1; i < arguments.size(); ++i)
        if (iIPC_SEND(&ipc, arguments[i].c_str()) != 1)
            return 2;
    if (arguments.back() == "hold") {
        tell("connected");
        wait_for_go();
    }
    return iIPC_CLOSE(&ipc) == 1 ? 0 : 3;
}

TEST_F(Channels, MessagesOfOneSenderAfterTheOtherKeepTheirBounds)
{
    ASSERT_EQ(iIPC_OPEN(name.c_str(), &receiver, 'r'), 1);
    IPC second{};
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &second, 'r'), 0) << "one receiver for each name";
    Child first("send_messages", {name, "hello", "hold"});
    first.wait_for("connected");
    Child waiting("send_messages", {name, "from the second"}); // until the first one has gone
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &second, 'w'), 0) << "the wait for a turn ends";
    EXPECT_EQ(next(), "2 hello 6");
    EXPECT_EQ(next(), "2 hold 5");
    patient = false;
    EXPECT_EQ(next(), "3  0") << "nobody says anything";
    patient = true;
    first.go();
    EXPECT_EQ(next(), "2  0") << "a sender that leaves shows as an empty message";
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(next(), "2 from the second 16");
    EXPECT_EQ(next(), "2  0");
    EXPECT_EQ(waiting.wait(), 0);
    EXPECT_EQ(iIPC_CLOSE(&receiver), 1);
    EXPECT_EQ(iIPC_CLOSE(&receiver), 1);
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &second, 'w'), 0) << "nobody receives";
    EXPECT_EQ(iIPC_SEND(&second, "x"), 0);
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &second, 'x'), 0);
    EXPECT_EQ(iIPC_OPEN(name.c_str(), &receiver, 'r'), 1) << "the name is free again";
    EXPECT_EQ(iIPC_CLOSE(&receiver), 1);
}

TEST_F(Channels, WhatIsTooLongIsLostAndTheChannelGoesOn)
{
    ASSERT_EQ(iIPC_OPEN(name.c_str(), &receiver, 'r'), 1);
    IPC sender{};
    ASSERT_EQ(iIPC_OPEN(name.c_str(), &sender, 'w'), 1);
    const std::string most(511, 'm');
    // Where the system has no room for a message the sender waits until it is read.
    const auto exchange = [&](const std::string &text, int32_t size) {
        std::thread sending([&] { iIPC_SEND(&sender, text.c_str()); });
        const std::string result = next(size);
        sending.join();
        return result;
    };
    EXPECT_EQ(exchange("12345", 5), "0  0") << "five characters need six bytes";
    EXPECT_EQ(exchange("1234", 5), "2 1234 5");
    EXPECT_EQ(exchange(most, 512), "2 " + most + " 512");
    for (const std::string &more : {most + "m", std::string(1000000, 'm')}) {
        limit = 20;
        EXPECT_EQ(exchange(more, 600).substr(0, 2), "3 ")
            << "the message is lost and its sender disconnected";
        limit = 1000;
        EXPECT_EQ(iIPC_SEND(&sender, "x"), 0);
        EXPECT_EQ(iIPC_CLOSE(&sender), 1);
        ASSERT_EQ(iIPC_OPEN(name.c_str(), &sender, 'w'), 1);
    }
    EXPECT_EQ(iIPC_SEND(&sender, ""), 1);
    EXPECT_EQ(iIPC_CLOSE(&sender), 1);
    EXPECT_EQ(next(), "2  1") << "what was sent before the close is received";
    EXPECT_EQ(next(), "2  0");
    EXPECT_EQ(iIPC_CLOSE(&receiver), 1);
    EXPECT_EQ(iIPC_RECEIVE(&receiver, nullptr, 0, nullptr), 0) << "a closed channel";
}

} // namespace
