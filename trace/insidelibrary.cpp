#include "trace/insidelibrary.h"

#include <atomic>

// Not to be compiled into the many places that have such a block: none of them is on a line's road.

namespace {

/// The thread may have been given a stage within the block, or left it.
void mark(bool inside) noexcept
{
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const std::uintptr_t place = threadstage::place();
    if (place > threadstage::leftBusy) {
        threadstage::stageAt(place)->setVisited(inside);
    } else if (place == threadstage::left || place == threadstage::leftBusy) {
        threadstage::put(inside ? threadstage::leftBusy : threadstage::left);
    } else {
        threadstage::put(inside ? threadstage::busy : threadstage::noStage);
    }
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

} // namespace

insidelibrary::insidelibrary() noexcept : m_before(threadstage::place())
{
    if (m_before > threadstage::leftBusy) {
        stage* const mine = threadstage::stageAt(m_before);
        m_wasVisited = mine->isVisited();
        mine->setVisited(true);
    } else if (m_before == threadstage::noStage) {
        threadstage::put(threadstage::busy);
    } else if (m_before == threadstage::left) {
        threadstage::put(threadstage::leftBusy);
    }
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

insidelibrary::~insidelibrary()
{
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (stage* const mine = threadstage::get()) {
        mine->setVisited(m_wasVisited);
    } else if (threadstage::isBusy()) {
        // a stage that was there is gone: this is the child of a fork within a sink's call
        threadstage::put(m_before > threadstage::leftBusy ? threadstage::noStage : m_before);
    }
}

outsidelibrary::outsidelibrary() noexcept : m_wasInside(insidelibrary::isEntered())
{
    if (m_wasInside) {
        mark(false);
    }
}

outsidelibrary::~outsidelibrary()
{
    if (m_wasInside) {
        mark(true);
    }
}
