#include "procutils/runexe/child_program.h"

#include <cerrno>

#include <syslog.h>
#include <unistd.h>

#include "procutils/str_tokenizer.h"
#include "utils/errno_text.h"

namespace velora::utils::proc {

ChildProgram::ChildProgram(const std::string& command) {
    StrTokenizer(command.c_str(), " ").ForEach([this](const char* word) {
        words_.emplace_back(word);
    });
    for (std::string& word : words_) {
        arguments_.push_back(word.data());
    }
    arguments_.push_back(nullptr);
}

void ChildProgram::ExecOrExit() const noexcept {
    if (arguments_[0] == nullptr) {
        errno = ENOENT;
    } else {
        execvp(arguments_[0], arguments_.data());
    }
    syslog(LOG_ERR, "velora execve : failed after fork() err= %s",
           MiscUtils::ErrnoText(errno).text.c_str());
    _exit(255);
}

}  // namespace velora::utils::proc
