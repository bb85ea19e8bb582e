#pragma once

#include <memory>
#include <utility>

/// A reference-counted pointer. The count is not atomic: copies are made and released by one thread
/// at a time.
template <class object_t>
class countedptr
{
public:
    /// \param object  owned from now on, also when there is no memory for the count.
    explicit countedptr(object_t* object) : m_object(object)
    {
        std::unique_ptr<object_t> guard(object);
        m_count = new unsigned long long(1);
        static_cast<void>(guard.release());
    }

    countedptr(const countedptr& other) noexcept : m_object(other.m_object), m_count(other.m_count)
    {
        if (m_count) {
            ++*m_count;
        }
    }

    countedptr(countedptr&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)),
          m_count(std::exchange(other.m_count, nullptr))
    {}

    countedptr& operator=(countedptr other) noexcept
    {
        std::swap(m_object, other.m_object);
        std::swap(m_count, other.m_count);
        return *this;
    }

    ~countedptr()
    {
        if (m_count && --*m_count == 0) {
            delete m_object;
            delete m_count;
        }
    }

    object_t& operator*() const noexcept { return *m_object; }
    object_t* operator->() const noexcept { return m_object; }
    unsigned long long count() const noexcept { return m_count ? *m_count : 0; }

private:
    object_t* m_object;
    unsigned long long* m_count = nullptr; ///< null when moved from
};
