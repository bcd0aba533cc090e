#pragma once

// Files for the fuzz targets that hand their input to the library as a file. They live in
// memory: no fuzz target touches the disk. The script file object reads them through the
// environment (SetEnv); the readers that open files by path through the host's file service
// (the enumeration table, the slot configuration, XML files) read them through a file service
// over the same environment, installed by ServeFromMemory.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "qx_platform/Control.h"
#include "qx_platform/Env.h"

namespace fuzz_files {

// The environment that holds every file of the process's fuzz target. Lives as long as the
// process.
inline qxp::Env* Memory() {
    static qxp::Env* const env = qxp::NewMemEnv().release();
    return env;
}

// Replaces the file's content with the bytes; false when the file cannot be written.
inline bool Store(const std::string& path, const void* data, std::size_t size) {
    return qxp::WriteStringToFile(Memory(), std::string(static_cast<const char*>(data), size), path)
        .ok();
}

// Hands out standard streams over the files of Memory(): a read stream over a copy of the
// file, a write stream whose bytes become the file's (or are appended to it) when it is closed.
class MemoryFileService final : public qxp::FileService {
  public:
    FILE* Open(const std::string& path, const char* mode) override {
        std::lock_guard<std::mutex> lock(mutex_);
        std::unique_ptr<Stream> s(new Stream);
        s->path = path;
        FILE* f = nullptr;
        if (mode[0] == 'r') {
            if (!qxp::ReadFileToString(Memory(), path, &s->data).ok()) {
                errno = ENOENT;
                return nullptr;
            }
            // An empty file is a stream over no bytes, at its end at once.
            static char none[1];
            f = fmemopen(s->data.empty() ? none : &s->data[0], s->data.size(), "r");
        } else {
            s->write = true;
            s->append = mode[0] == 'a';
            f = open_memstream(&s->out, &s->outSize);
        }
        if (f != nullptr) streams_[f] = std::move(s);
        return f;
    }
    int Close(FILE* stream) override {
        std::unique_ptr<Stream> s;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto it = streams_.find(stream);
            if (it == streams_.end()) return std::fclose(stream);
            s = std::move(it->second);
            streams_.erase(it);
        }
        const int rc = std::fclose(stream);
        if (s->write) {
            std::string content;
            if (s->append) qxp::ReadFileToString(Memory(), s->path, &content);
            content.append(s->out, s->outSize);
            std::free(s->out);
            if (!qxp::WriteStringToFile(Memory(), content, s->path).ok()) return EOF;
        }
        return rc;
    }
    bool Delete(const std::string& path) override { return Memory()->DeleteFile(path).ok(); }
    bool Rename(const std::string& from, const std::string& to) override {
        return Memory()->RenameFile(from, to).ok();
    }
    bool MakeDir(const std::string& path) override { return Memory()->MakeDir(path).ok(); }
    bool IsDirectory(const std::string& path) override { return Memory()->IsDirectory(path); }

  private:
    struct Stream {
        std::string path;
        std::string data;  // what a read stream reads
        bool write = false;
        bool append = false;
        char* out = nullptr;  // what a write stream wrote (malloc'd by open_memstream)
        std::size_t outSize = 0;
    };
    std::mutex mutex_;
    std::map<FILE*, std::unique_ptr<Stream>> streams_;
};

// Installs the memory file service for the rest of the process.
inline void ServeFromMemory() {
    static MemoryFileService* const service = new MemoryFileService;
    qxp::SetFileService(service);
}

}  // namespace fuzz_files
