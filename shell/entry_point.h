// The module's one exported function, called by the host for every effect command.
#pragma once
#include "hostapi/host_api.h"

#if defined(_WIN32)
#define ORBULON_EXPORT __declspec(dllexport)
#else
#define ORBULON_EXPORT __attribute__((visibility("default")))
#endif

extern "C" ORBULON_EXPORT PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                                PF_ParamDef* params[], PF_LayerDef* output, void* extra);
