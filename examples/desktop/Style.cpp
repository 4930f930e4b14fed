// SPDX-License-Identifier: Apache-2.0
#include "Style.h"

#include <gtk/gtk.h>

namespace {

constexpr const char* kRules = R"css(
window.shop { background: #f6f2ec; }
window.shop headerbar { background: #fffdf9; border-bottom: 1px solid #e6ddd0; box-shadow: none; }
window.shop headerbar .title { font-weight: 800; letter-spacing: 0.5px; color: #24343d; }

.hero {
  background-image: linear-gradient(115deg, #16333f 0%, #24586a 55%, #d9864a 130%);
  border-radius: 18px; padding: 34px 38px; color: #fff;
}
.hero .kicker { font-size: 12px; letter-spacing: 2px; font-weight: 700; color: #f3c39c; }
.hero .headline { font-size: 32px; font-weight: 800; }
.hero .text { font-size: 15px; color: rgba(255,255,255,0.82); }

.section { font-size: 13px; font-weight: 800; letter-spacing: 1px; color: #8b7a66; }

.product { background: #fffdf9; border-radius: 14px; border: 1px solid #eadfce; padding: 18px; }
.product .swatch { min-height: 74px; border-radius: 10px; }
.product .dawn { background-image: linear-gradient(135deg, #f7c89b, #d9864a); }
.product .noon { background-image: linear-gradient(135deg, #a9d3cf, #2f7f86); }
.product .dusk { background-image: linear-gradient(135deg, #8d7bb5, #33294f); }
.product .name { font-weight: 700; font-size: 16px; color: #24343d; }
.product .note { color: #8b7a66; font-size: 13px; }
.product .price { font-weight: 700; color: #b5602a; }

.sidebar { background: #fffdf9; border-left: 1px solid #e6ddd0; padding: 20px 18px; }
.sidebar list { background: transparent; }
.sidebar row { border-radius: 12px; padding: 11px 12px; margin-bottom: 6px; background: #f8f3eb; border: 1px solid transparent; }
.sidebar row:hover { background: #f3e9db; }
.sidebar row:selected, .sidebar row.active { background: #fdebdc; border-color: #e9b58c; color: inherit; }
.message-icon { background: #24586a; color: #fff; border-radius: 10px; padding: 8px; }
.message-title { font-weight: 700; color: #24343d; }
.message-text { font-size: 12px; color: #8b7a66; }
.activity { background: #16333f; color: #dfeaed; border-radius: 12px; padding: 12px 14px; font-family: monospace; font-size: 11px; }

window.receiver headerbar { background: #fffdf9; border-bottom: none; box-shadow: none; }
window.receiver { background-image: linear-gradient(135deg, #2f7f86, #16333f); }
.receiver-card { background: #fffdf9; border-radius: 20px; padding: 44px 64px; color: #24343d; }
.receiver-name { font-size: 30px; font-weight: 800; }
.receiver-link { font-family: monospace; font-size: 15px; background: #f3e9db; color: #8a4415; border-radius: 9px; padding: 9px 16px; }
)css";

}  // namespace

void useDemoStyle() {
  GtkCssProvider* const provider = gtk_css_provider_new();
  gtk_css_provider_load_from_data(provider, kRules, -1);
  gtk_style_context_add_provider_for_display(gdk_display_get_default(), GTK_STYLE_PROVIDER(provider),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_unref(provider);
}
