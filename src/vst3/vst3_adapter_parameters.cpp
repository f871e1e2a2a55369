// The VST 3 side of parameters and programs: which parameters VST 2 sees
// and under which index, units and program lists.
#include "vst3/vst3_adapter_core.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

void Vst3AdapterCore::setupParameters() {
    parameterMap.clear();
    parameterIndexMap.clear();
    bypassParamId = kNoParamId;
    programParamId = kNoParamId;
    programParamIndex = -1;

    int32 count = controller ? controller->getParameterCount() : 0;
    if (count < 0)
        count = 0;
    std::vector<ParameterInfo> programInfos;
    std::vector<int32> programIndices;
    for (int32 i = 0; i < count; ++i) {
        ParameterInfo info = {};
        if (controller->getParameterInfo(i, info) != kResultOk)
            continue;
        bool exported = false;
        if (info.flags & ParameterInfo::kIsBypass) {
            if (bypassParamId == kNoParamId)
                bypassParamId = info.id;
            exported = exportBypass;
        } else if (info.flags & ParameterInfo::kIsProgramChange) {
            programInfos.push_back(info);
            programIndices.push_back(i);
            if (info.unitId == kRootUnitId && programParamId == kNoParamId) {
                programParamId = info.id;
                programParamIndex = i;
            }
        } else if (!(info.flags & ParameterInfo::kIsReadOnly)) {
            // Hidden parameters are exported: a VST 2 host has no way to
            // hide them, and a preset may still need them.
            exported = true;
        }
        if (exported) {
            int32 index = int32(parameterMap.size());
            parameterMap.push_back({info.id, i});
            parameterIndexMap[info.id] = useSequentialIndex ? index : i;
        }
    }
    numParams = int32(parameterMap.size());

    // The rings hold changes of every parameter, exported or not.
    inputTransfer.setMaxParameters(2 * count);
    outputTransfer.setMaxParameters(2 * count);
    uiTransfer.setMaxParameters(2 * count);
    inputChanges.setMaxParameters(count);
    outputChanges.setMaxParameters(count);

    for (int32 channel = 0; channel < 16; ++channel) {
        programChangeParamIds[size_t(channel)] = kNoParamId;
        programChangeParamIndices[size_t(channel)] = -1;
        UnitID unit;
        ProgramListID list;
        if (!getProgramListAndUnit(channel, unit, list))
            continue;
        for (size_t p = 0; p < programInfos.size(); ++p) {
            if (programInfos[p].unitId == unit) {
                programChangeParamIds[size_t(channel)] = programInfos[p].id;
                programChangeParamIndices[size_t(channel)] = programIndices[p];
                break;
            }
        }
    }
}

bool Vst3AdapterCore::getProgramListAndUnit(int32 channel, UnitID& unit, ProgramListID& list) {
    if (!unitInfo)
        return false;
    if (unitInfo->getUnitByBus(kEvent, kInput, 0, channel, unit) != kResultOk)
        return false;
    for (int32 i = 0; i < unitInfo->getUnitCount(); ++i) {
        UnitInfo info = {};
        if (unitInfo->getUnitInfo(i, info) == kResultOk && info.id == unit) {
            list = info.programListId;
            return list != kNoProgramListId;
        }
    }
    return false;
}

bool Vst3AdapterCore::getUnitPath(UnitID id, std::u16string& path) {
    bool found = false;
    // A plug-in whose units form a loop still ends here.
    for (int32 depth = 0; depth < 128; ++depth) {
        bool step = false;
        for (int32 i = 0; i < unitInfo->getUnitCount(); ++i) {
            UnitInfo info = {};
            unitInfo->getUnitInfo(i, info);
            if (info.id != id)
                continue;
            path = std::u16string(reinterpret_cast<const char16_t*>(info.name)) + u"." + path;
            found = true;
            // The walk stops below the root: only the root's own parameters
            // carry its name.
            if (info.parentUnitId != kRootUnitId && info.parentUnitId != id) {
                id = info.parentUnitId;
                step = true;
            }
            break;
        }
        if (!step)
            return found;
    }
    return found;
}

bool Vst3AdapterCore::getLastParamChange(ParamID id, double& value) {
    // The ring is only read front to back, so look at it through a
    // temporary list and put everything back.
    std::lock_guard<std::mutex> writers(transferWriters);
    ParameterChanges changes;
    uiTransfer.transferChangesTo(changes);
    bool found = false;
    for (int32 i = 0; i < changes.getParameterCount() && !found; ++i) {
        IParamValueQueue* queue = changes.getParameterData(i);
        if (!queue || queue->getParameterId() != id || queue->getPointCount() <= 0)
            continue;
        int32 offset;
        found = queue->getPoint(queue->getPointCount() - 1, offset, value) == kResultOk;
        break;
    }
    uiTransfer.transferChangesFrom(changes);
    return found;
}
