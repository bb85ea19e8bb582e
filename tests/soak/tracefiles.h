#pragma once

#include "tests/soak/lineorder.h"

#include <filesystem>
#include <fstream>
#include <string>

/// The files that a sink wrote, which are read back, checked and deleted.
class tracefiles
{
public:
    explicit tracefiles(std::string name) : m_name(std::move(name)) {}

    const std::string& name() const { return m_name; }

    /// Reads the oldest file first. To be called once.
    void read()
    {
        while (std::filesystem::exists(older(m_older))) {
            ++m_older;
        }
        for (unsigned long long number = m_older; number-- != 0;) {
            readFile(older(number));
        }
        readFile(m_name);
    }

    const lineorder& order() const { return m_order; }
    unsigned long long rotations() const { return m_older; }

private:
    std::string older(unsigned long long number) const
    {
        return m_name + '.' + std::to_string(number);
    }

    void readFile(const std::string& name)
    {
        {
            std::ifstream file(name, std::ios::binary);
            for (std::string line; std::getline(file, line);) {
                if (file.eof() || line.empty() || line.back() != '\r') {
                    m_order.countTorn();
                    continue;
                }
                line.pop_back();
                m_order.check(line);
            }
        }
        std::filesystem::remove(name);
    }

    const std::string m_name;
    lineorder m_order;
    unsigned long long m_older = 0;
};
