// The files of the folder page, as texts. The build makes their definitions with embed.cmake.
#pragma once

extern const char page_html[]; // has the marks @STYLE@, @DATA@ and @SCRIPT@
extern const char page_css[];
extern const char page_js[];
