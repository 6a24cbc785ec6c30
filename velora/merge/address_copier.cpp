#include "velora/merge/address_copier.h"

#include "velora/packet/address_copies.h"

namespace velora::merge {

using packet::AddressCopies;

bool AddressCopier::Put(const output::Item& item, std::span<const std::uint8_t> kept) {
    if (!m_Next.Put(item, kept)) {
        return false;
    }
    const auto copies = AddressCopies::Plan(item.record->interface->linkType, kept);
    if (!copies) {
        return true;
    }
    output::Item copy = item;
    copy.isCopy = true;
    m_Copy.assign(kept.begin(), kept.end());
    for (std::uint8_t network = 0; network < AddressCopies::kNetworks; ++network) {
        copies->Apply(network, m_Copy);
        if (!m_Next.Put(copy, m_Copy)) {
            return false;
        }
    }
    return true;
}

}  // namespace velora::merge
