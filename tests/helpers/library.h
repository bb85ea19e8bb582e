#pragma once

#include <filesystem>
#include <string>

/// A shared library that a program loads by itself, until the object's end.
class library
{
public:
    /// \param name  without the platform's beginning and ending; it lies beside the program.
    explicit library(const std::string& name);
    ~library();

    library(const library&) = delete;
    library& operator=(const library&) = delete;

    bool isLoaded() const { return m_handle != nullptr; }

    /// A function of it, which is known to be there.
    template <class function_t>
    function_t* function(const char* name) const
    {
        return reinterpret_cast<function_t*>(find(name));
    }

    /// Whether somebody holds a library of that name in memory.
    static bool isInMemory(const std::string& name);

private:
    using anyfunction = void (*)();

    anyfunction find(const char* name) const;

    void* m_handle;
};
