// Files of JSON: reading, writing so that a failure leaves the old file whole, and the folder that
// unusable files are put aside in.
#pragma once

#include <exception>
#include <string>

#include "core/runtime/value.h"

namespace kavel::foundation {

/// The parsed content of a file. Throws the interpreter's own errors (see `is_no_json`).
[[nodiscard]] runtime::Value read_json(const std::string& path);

/// Replaces the file's content by `data`, indented by 2 and without ASCII escaping. The new content
/// is written beside the file (through a link: beside its target) under `ticket` and takes its
/// place in one step, with its permissions; where that is not allowed, it is written into the file.
/// Throws the interpreter's own errors; the old content stays.
void write_json(const std::string& path, const runtime::Value& data, const std::string& ticket);
/// The same under a ticket of its own.
void write_json(const std::string& path, const runtime::Value& data);

/// The same for the finished text of a file, in UTF-8.
void write_content(const std::string& path, const std::string& content, const std::string& ticket);

/// A random whole number of up to nine digits, which tells the editors of one file apart.
[[nodiscard]] std::string random_ticket();

/// Whether `error` says that a file's content is no JSON or no UTF-8.
[[nodiscard]] bool is_no_json(const std::exception_ptr& error);

/// Moves an unusable file into the folder ".corrupted" beside it, under a name that carries the
/// time. A failure is logged.
void move_corrupted(const std::string& path);
/// Copies the file there instead. Throws what the operating system raises.
void copy_aside(const std::string& path);
/// Copies the file into the folder of that name beside it, which is made when it is missing, under
/// a name that carries the time; returns the path of the copy. Throws what the operating system
/// raises.
std::string copy_beside(const std::string& path, const std::string& folder);
/// Writes `content`, which stands in no file, to such a place instead.
std::string write_beside(const std::string& path, const std::string& folder,
                         const std::string& content);

}  // namespace kavel::foundation
