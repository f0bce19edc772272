// What a HANDLE is: an object of one of these classes. Internal to the layer.
#pragma once

#include "Platform/Posix/Win32Files.h"

#include <memory>
#include <utility>

class HandleObject
{
public:
    HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    virtual ~HandleObject() = default;
};

// Owns a file descriptor; -1: none.
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor();

    int Get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

private:
    int m_descriptor;
};

class FileHandle final : public HandleObject
{
public:
    explicit FileHandle(FileDescriptor file) : m_file(std::move(file)) {}
    int Descriptor() const { return m_file.Get(); }

private:
    FileDescriptor m_file;
};

// The caller's handle of a new object; CloseHandle ends it.
template <class Object, class... Arguments>
HANDLE MakeHandle(Arguments&&... arguments)
{
    HandleObject* const object = std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
    return object;
}

// Null when the handle is null, a pseudo handle of process or thread, or of another kind.
template <class Object>
Object* FromHandle(HANDLE handle)
{
    const auto value = reinterpret_cast<std::intptr_t>(handle);
    return value == 0 || value == -1 || value == -2 ? nullptr
                                                    : dynamic_cast<Object*>(static_cast<HandleObject*>(handle));
}
