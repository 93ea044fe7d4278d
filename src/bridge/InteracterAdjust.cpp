// Spaces of another size. The old view stays, and holds the section and its name: so whoever makes the
// section finds the name taken while the old one lives.
#include "bridge/InteracterImpl.h"

using namespace vxcio;

int CVXCInteracterImpl::AdjustInSMMSpaceSize(unsigned int size) noexcept {
    m_inMap.DropMappingOnly();
    if (m_nRole == 0) {
        // The size stays as it was.
        if (!m_inMap.Open(m_strInMapName)) {
            return FailToOpen(L"AdjustInSMMSpaceSize Failed: OpenFileMapping m_hInMapFile failed (%d).\n");
        }
        m_inMap.Map();
        return 0;
    }
    m_inMap.size = size;
    switch (m_inMap.Create(m_strInMapName)) {
    case MappedSpace::Made::Nothing:
        return FailReleased(L"AdjustInSMMSpaceSize failed! Can't create file mapping.");
    case MappedSpace::Made::Taken:
        return FailReleased(L"AdjustInSMMSpaceSize failed: Mapping already exists - not created.");
    case MappedSpace::Made::New:
        break;
    }
    m_inMap.Map();
    return 0;
}

int CVXCInteracterImpl::AdjustOutSMMSpaceSize(unsigned int size) noexcept {
    m_outMap.DropMappingOnly();
    if (m_nRole != 0) {
        // By the name of the request space: that is what this end sees as replies from here on. The size
        // stays.
        if (!m_outMap.Open(m_strInMapName)) {
            return FailToOpen(L"AdjustInSMMSpaceSize Failed: OpenFileMapping m_hOutMapFile failed (%d).\n");
        }
        m_outMap.Map();
        return 0;
    }
    m_outMap.size = size;
    switch (m_outMap.Create(m_strOutMapName)) {
    case MappedSpace::Made::Nothing:
        return Fail(L"AdjustOutSMMSpaceSize failed: Can't create file mapping.");
    case MappedSpace::Made::Taken:
        return Fail(L"AdjustOutSMMSpaceSize failed: Mapping already exists - not created.");
    case MappedSpace::Made::New:
        break;
    }
    if (!m_outMap.Map()) {
        return Fail(L"AdjustOutSMMSpaceSize failed: Can't map view. m_pOutMapSMM");
    }
    return 0;
}
