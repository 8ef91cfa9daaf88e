// Work on many files, each in a turn of its own.
//
// Every turn costs at least the pause in which racing editors make their tickets, so hundreds of
// files one after another would take minutes. Here one loop on the calling thread waits in the
// queues of many files side by side: each round takes the next step of every file that is due, does
// the work on those whose turn has come and gives their turns up, then sleeps until the next one is
// due. The folders are listed twice a round, not once a file. No turn is kept while waiting for
// another, so two such loops cannot block each other.
//
// A ticket stops counting after a while, and who waits behind it gives up even sooner. So only so
// many files are waited for at a time as can be written well before that; the next ones follow as
// these are done.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace kavel::foundation {

class AccessQueue;

/// Runs `work(index, turn)` for each of `paths` when its turn has come. Returns, in the order of
/// `paths`, what each failed with, null for those that did not. Interrupts pass, after all places
/// were given up.
[[nodiscard]] std::vector<std::exception_ptr> run_in_turns(
    const std::vector<std::string>& paths,
    const std::function<void(std::size_t index, AccessQueue& turn)>& work);

}  // namespace kavel::foundation
