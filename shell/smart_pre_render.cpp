// PF_Cmd_SMART_PRE_RENDER: asks for the input layer over the requested area and reports the
// resulting rectangles. Texture, reflection and control layers are not declared here.
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "shell/commands.h"
#include "shell/effect_param_id.h"

namespace {

bool isEmpty(const PF_LRect& rect)
{
    return rect.left >= rect.right || rect.top >= rect.bottom;
}

// Grows `into` to cover `other`; an empty `into` becomes `other`, an empty `other` adds nothing.
void unionInto(PF_LRect& into, const PF_LRect& other)
{
    if (isEmpty(into)) {
        into = other;
    } else if (!isEmpty(other)) {
        into.left = other.left < into.left ? other.left : into.left;
        into.top = other.top < into.top ? other.top : into.top;
        into.right = other.right > into.right ? other.right : into.right;
        into.bottom = other.bottom > into.bottom ? other.bottom : into.bottom;
    }
}

} // namespace

PF_Err smartPreRender(PF_InData* in_data, PF_OutData*, PF_PreRenderExtra* extra)
{
    if (!extra || !extra->input || !extra->output || !extra->cb || !extra->cb->checkout_layer) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // The host records every handler holds; the checkout below needs neither of them.
    AEO::HostAccess host(in_data);
    AEO::SuiteHandler suites(in_data->pica_basicP);

    PF_RenderRequest request = extra->input->output_request;
    request.preserve_rgb_of_zero_alpha = true;

    PF_CheckoutResult checkout{};
    const PF_Err err = extra->cb->checkout_layer(in_data->effect_ref, PARAM_INPUT, kInputCheckoutId, &request,
                                                 in_data->current_time, in_data->time_step,
                                                 in_data->time_scale, &checkout);
    // The rectangles are merged whatever the checkout returned.
    unionInto(extra->output->result_rect, checkout.result_rect);
    unionInto(extra->output->max_result_rect, checkout.max_result_rect);
    return err;
}
