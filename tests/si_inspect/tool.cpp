#include "tool.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <stdexcept>

namespace orvix::test {

temporary_folder::temporary_folder() {
    path_ = (std::filesystem::temp_directory_path() / "si_inspect_test.XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp");
}

temporary_folder::~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string temporary_folder::file(const std::string& name, const bytes& content) const {
    std::ofstream to(path(name), std::ios::binary);
    to.write(reinterpret_cast<const char*>(content.data()),
             static_cast<std::streamsize>(content.size()));
    if (!to.flush()) throw std::runtime_error("cannot write " + path(name));
    return path(name);
}

std::vector<std::string> temporary_folder::names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        found.push_back(entry.path().filename().string());
    }
    return found;
}

std::string read_file(const std::string& path) {
    std::ifstream from(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(from), {}};
}

running_tool::running_tool(const std::vector<std::string>& arguments, int in, int out, int err,
                           const how_to_run& how) {
    std::vector<std::string> words = {SI_INSPECT};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    // Of two values of one variable, the first counts.
    std::vector<std::string> variables = how.environment;
    variables.insert(variables.end(), {"PATH=/usr/bin:/bin", "TERM=xterm", "TZ=Asia/Tokyo"});
    std::vector<char*> environment;
    for (std::string& variable : variables) environment.push_back(variable.data());
    environment.push_back(nullptr);

    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("fork");
    if (pid_ == 0) {
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        // A test that is killed takes its tool along.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        // As a shell starts it, whatever the test ignores or was started to ignore.
        for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) ::signal(number, SIG_DFL);
        how.in_child();
        execve(argv[0], argv.data(), environment.data());
        _exit(127);
    }
}

running_tool::~running_tool() {
    if (waited_) return;
    signal(SIGKILL);
    wait();
}

void running_tool::signal(int number) const { kill(pid_, number); }

void running_tool::wait_until_it_handles(int number) const {
    const std::string field = "SigCgt:\t";
    for (;;) {
        const std::string status = read_file("/proc/" + std::to_string(pid_) + "/status");
        const std::size_t found = status.find(field);
        if (found == std::string::npos || status.find("State:\tZ") != std::string::npos) {
            throw std::runtime_error("ended before it was asked to");
        }
        const auto handled = std::stoull(status.substr(found + field.size()), nullptr, 16);
        if ((handled >> (number - 1) & 1) != 0) return;
        usleep(1000);
    }
}

int running_tool::wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    waited_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

outcome si_inspect(const std::vector<std::string>& arguments, const how_to_run& how) {
    const temporary_folder folder;
    const int out = open(folder.path("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const int err = open(folder.path("err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    int in[2] = {-1, -1};
    if (pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error("pipe");

    outcome result;
    {
        running_tool tool(arguments, in[0], out, err, how);
        close(in[0]);
        // A tool that does not read to the end must not end the test.
        ::signal(SIGPIPE, SIG_IGN);
        std::size_t written = 0;
        while (written < how.input.size()) {
            const ssize_t count =
                write(in[1], how.input.data() + written, how.input.size() - written);
            if (count <= 0) break;
            written += static_cast<std::size_t>(count);
        }
        close(in[1]);
        result.status = tool.wait();
    }
    close(out);
    close(err);
    result.out = read_file(folder.path("out"));
    result.err = read_file(folder.path("err"));
    return result;
}

}  // namespace orvix::test
