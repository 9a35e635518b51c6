#pragma once

// The look of a timeline. The colours differ in lightness as well, and every mark has a title, so
// that nothing is told by colour alone.

namespace vorn::lab {

inline constexpr char kTimelineStyle[] = R"(
svg.timeline{--ink:#1f2328;--soft:#59636e;--paper:#ffffff;--band:#f3f5f8;--grid:#d5dbe1;
--calls:#3b5bdb;--wait:#b9d2f6;--busy:#1c6fd6;--good:#2f9e57;--goodink:#0b4f26;--hide:#e8a33d;
--off:#8a63d2;--gone:#a7b0ba;--bad:#d1242f;--journal:#8f6a00;--journalbox:#f5d77a;--package:#7fb3d5}
@media (prefers-color-scheme:dark){svg.timeline{--ink:#e6edf3;--soft:#9aa4af;--paper:#0d1117;
--band:#151b23;--grid:#2d343c;--calls:#7c9bff;--wait:#1e3a5f;--busy:#58a6ff;--good:#2ea043;
--goodink:#eafff0;--hide:#c98a1b;--off:#8b6fd8;--gone:#57606a;--bad:#ff6b63;--journal:#f2cc60;
--journalbox:#5c4a10;--package:#2b5b7d}}
svg.timeline{font-family:system-ui,"Segoe UI",Roboto,"DejaVu Sans",sans-serif;font-size:11px}
svg.timeline text{fill:var(--ink)}
.paper{fill:var(--paper)}.band{fill:var(--band)}.grid{stroke:var(--grid);stroke-width:1}
svg.timeline .soft{fill:var(--soft)}svg.timeline .small{font-size:10px}
.name{font-weight:600;font-size:12px}.command{font-family:ui-monospace,Consolas,"DejaVu Sans Mono",monospace;font-size:12px;font-weight:600}
.mono{font-family:ui-monospace,Consolas,"DejaVu Sans Mono",monospace;font-size:10.5px}
.end{font-weight:700;font-size:13px}.right{text-anchor:end}.middle{text-anchor:middle}
.c1{fill:var(--calls);opacity:.28}.c2{fill:var(--calls);opacity:.5}.c3{fill:var(--calls);opacity:.75}.c4{fill:var(--calls)}
.wait{fill:var(--wait)}.busy{fill:var(--busy)}
.started{fill:var(--good)}.stopped{fill:var(--hide)}.disabled{fill:var(--off)}.problem{fill:var(--bad)}.absent{fill:var(--gone)}
svg.timeline .onbox{fill:#fff;font-size:10px}
.package{fill:var(--package)}.journal{fill:var(--journalbox);stroke:var(--journal)}.spoilt{fill:var(--bad)}
.active{fill:var(--good)}.unplugged{fill:var(--hide)}.off{fill:var(--off)}.notpresent{fill:var(--gone)}
.none{fill:none;stroke:var(--grid)}
.out{fill:var(--good)}.err{fill:var(--soft)}.bad{fill:var(--bad)}.fault{fill:var(--off)}
svg.timeline .errtext{fill:var(--bad)}svg.timeline .faulttext{fill:var(--off);font-weight:600}
.lead{stroke:var(--soft);stroke-width:.7;fill:none}
)";

}  // namespace vorn::lab
