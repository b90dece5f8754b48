#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "corvane/core/Files.h"
#include "corvane/linux/store/DefaultsFiles.h"

namespace corvane::defaults_files {

/// The file with the generation of a domain, and the lock under which databases are opened and set aside.
class ChangeCounter {
 public:
  // Opens or creates the file; only for reading if no more is permitted. Its mode forbids writing, so that copying over
  // it replaces it or fails: truncating it would end every process that has it mapped.
  static Result<std::unique_ptr<ChangeCounter>> open(const std::string& path);

  ~ChangeCounter();

  // The number; valid for as long as the counter.
  const std::uint64_t* value() const { return m_value; }
  std::uint64_t get() const { return __atomic_load_n(m_value, __ATOMIC_ACQUIRE); }
  std::uint64_t next() const { return get() + 1 == 0 ? 1 : get() + 1; }
  bool isWritable() const { return m_writable; }
  bool isAtItsPath() const { return Identity::at(m_path) == m_identity; }
  bool isDeleted() const;  // or replaced; takes a quarter of the time of isAtItsPath()
  const std::string& path() const { return m_path; }

  // With write() and not through the mapping: a full disk is then an error and not a signal, and watchers of the file
  // are notified.
  Result<void> set(std::uint64_t number);

  // Tells processes that still use the file that it is out of date, and closes it. The number remains readable.
  void retire();

  // Excludes other processes for as long as it lives. Not inherited across a fork.
  class Lock {
   public:
    static Result<Lock> take(const ChangeCounter& counter);

   private:
    explicit Lock(FileDescriptor file) : m_file(std::move(file)) {}
    FileDescriptor m_file;  // opened only for this lock
  };

 private:
  ChangeCounter(std::string path, FileDescriptor file, bool writable)
      : m_path(std::move(path)), m_file(std::move(file)), m_identity(Identity::at(m_path)), m_writable(writable) {}

  const std::string m_path;
  FileDescriptor m_file;
  const std::optional<Identity> m_identity;
  const bool m_writable;
  const std::uint64_t* m_value = nullptr;
};

}  // namespace corvane::defaults_files
