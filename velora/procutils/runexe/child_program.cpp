#include "velora/procutils/runexe/child_program.h"

#include <cerrno>
#include <cstring>
#include <ctime>

#include <syslog.h>
#include <unistd.h>

#include "velora/procutils/str_tokenizer.h"

namespace velora::utils::proc {

ChildProgram::ChildProgram(const std::string& command) {
    StrTokenizer(command.c_str(), " ").ForEach([this](const char* word) {
        m_Words.emplace_back(word);
    });
    for (std::string& word : m_Words) {
        m_Arguments.push_back(word.data());
    }
    m_Arguments.push_back(nullptr);
    // The first look at the time zone allocates: syslog() in the child would take it.
    const std::time_t now = std::time(nullptr);
    tm unused{};
    localtime_r(&now, &unused);
}

void ChildProgram::ExecOrExit() const noexcept {
    if (m_Arguments[0] == nullptr) {
        errno = ENOENT;
    } else {
        execvp(m_Arguments[0], m_Arguments.data());
    }
    // The system's description as it stands, in no language of a locale: to translate it would
    // allocate.
    const char* const description = strerrordesc_np(errno);
    syslog(LOG_ERR, "velora execve : failed after fork() err= %s",
           description != nullptr ? description : "Unknown error");
    _exit(255);
}

}  // namespace velora::utils::proc
