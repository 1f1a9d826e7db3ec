// One handler per effect command that does something; EntryPointFunc dispatches to them.
// Every handler gets non-null in_data and out_data. A handler may throw an A_long host
// error (a missing suite) or std::bad_alloc; EntryPointFunc turns either into the command's
// result (the error, or PF_Err_OUT_OF_MEMORY), and anything else into
// PF_Err_INTERNAL_STRUCT_DAMAGED.
#pragma once
#include "hostapi/host_api.h"

PF_Err about(PF_InData* in_data, PF_OutData* out_data);
PF_Err globalSetup(PF_InData* in_data, PF_OutData* out_data);
PF_Err globalSetdown(PF_InData* in_data, PF_OutData* out_data);
PF_Err paramsSetup(PF_InData* in_data, PF_OutData* out_data);
PF_Err userChangedParam(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                        PF_UserChangedParamExtra* extra);
PF_Err updateParamsUi(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]);
PF_Err smartPreRender(PF_InData* in_data, PF_OutData* out_data, PF_PreRenderExtra* extra);
PF_Err smartRender(PF_InData* in_data, PF_OutData* out_data, PF_SmartRenderExtra* extra);

// The checkout id under which pre-render asks for the input layer and smart render fetches it.
inline constexpr A_long kInputCheckoutId = 0;
