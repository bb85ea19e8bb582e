#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

/// Elements that are found by a thread's number, in little more memory than their own: one array,
/// where an element lies in the first free place from the one that its number leads to.
///
/// Filled without end, the array is between 7/16 and 7/8 full; while it grows, old and new array
/// take 3/2 of the new one's size. It never shrinks. Has no lock of its own.
///
/// \tparam element_t  cheap to copy; one made by element_t() marks a free place.
/// \tparam id_of_t    a function object that tells an element's number, which is never 0 and does
///                    not change while the element is here.
template <class element_t, class id_of_t>
class idtable
{
public:
    std::size_t size() const noexcept { return m_size; }

    /// \return null when there is none with that number.
    const element_t* find(unsigned int id) const noexcept
    {
        if (m_size == 0) {
            return nullptr;
        }
        const std::size_t place = placeOf(id);
        return isFree(place) ? nullptr : &m_places[place];
    }

    /// Makes sure that one more element can be put in.
    /// \return false when memory is out; nothing is changed then.
    bool makeRoom() noexcept
    {
        constexpr std::size_t sparePart = 8; // with fewer free places, each search would take long
        return m_size < m_capacity - m_capacity / sparePart || grow();
    }

    /// REQUIRES: makeRoom() has answered true since the last one; none with its number is here.
    void insert(const element_t& element) noexcept
    {
        m_places[placeOf(id_of_t()(element))] = element;
        ++m_size;
    }

    /// Takes all out; there is as much room as before.
    void clear() noexcept
    {
        std::fill(m_places.get(), m_places.get() + m_capacity, element_t());
        m_size = 0;
    }

    /// \return whether there was one.
    bool erase(unsigned int id) noexcept
    {
        const element_t* const found = find(id);
        if (!found) {
            return false;
        }
        fillGap(static_cast<std::size_t>(found - m_places.get()));
        --m_size;
        return true;
    }

private:
    bool isFree(std::size_t place) const noexcept { return m_places[place] == element_t(); }

    std::size_t next(std::size_t place) const noexcept { return (place + 1) & (m_capacity - 1); }

    /// How many steps lead from one place to another.
    std::size_t distance(std::size_t from, std::size_t to) const noexcept
    {
        return (to - from) & (m_capacity - 1);
    }

    /// Where the search for a number starts. Numbers are often multiples of 4, or follow each
    /// other: the multiplier, 2^32 divided by the golden ratio, spreads both evenly.
    std::size_t home(unsigned int id) const noexcept
    {
        constexpr unsigned int multiplier = 2654435769U;
        return (id * multiplier) >> m_shift;
    }

    /// Where the element with that number is, or would be put.
    std::size_t placeOf(unsigned int id) const noexcept
    {
        std::size_t place = home(id);
        while (!isFree(place) && id_of_t()(m_places[place]) != id) {
            place = next(place);
        }
        return place;
    }

    /// Moves elements back, so that each is found again from its home without a gap on the way.
    void fillGap(std::size_t gap) noexcept
    {
        for (std::size_t place = next(gap); !isFree(place); place = next(place)) {
            const std::size_t start = home(id_of_t()(m_places[place]));
            if (distance(start, place) >= distance(gap, place)) {
                m_places[gap] = m_places[place];
                gap = place;
            }
        }
        m_places[gap] = element_t();
    }

    bool grow() noexcept
    {
        idtable larger;
        larger.m_capacity = m_capacity != 0 ? m_capacity * 2 : firstCapacity;
        larger.m_shift = m_shift - 1;
        larger.m_places.reset(new (std::nothrow) element_t[larger.m_capacity]());
        if (!larger.m_places) {
            return false;
        }
        for (std::size_t place = 0; place < m_capacity; ++place) {
            if (!isFree(place)) {
                larger.insert(m_places[place]);
            }
        }
        *this = std::move(larger);
        return true;
    }

    static constexpr unsigned int idBits = 32;
    static constexpr unsigned int firstCapacityBits = 4; ///< enough for a program of few threads
    static constexpr std::size_t firstCapacity = std::size_t{1} << firstCapacityBits;

    std::unique_ptr<element_t[]> m_places;
    std::size_t m_capacity = 0; ///< a power of two, of which m_shift leaves the exponent's bits
    std::size_t m_size = 0;
    unsigned int m_shift = idBits - firstCapacityBits + 1;
};
