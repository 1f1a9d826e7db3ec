// PF_Cmd_USER_CHANGED_PARAM and PF_Cmd_UPDATE_PARAMS_UI. Nothing reacts to the supervised
// controls yet, so both accept the change.
#include "shell/commands.h"

PF_Err userChangedParam(PF_InData*, PF_OutData*, PF_ParamDef*[], PF_UserChangedParamExtra*)
{
    return PF_Err_NONE;
}

PF_Err updateParamsUi(PF_InData*, PF_OutData*, PF_ParamDef*[])
{
    return PF_Err_NONE;
}
