#include "workbench/timeline_drawing.hpp"

namespace vantrel_can_bridge::workbench {

std::string_view timeline_style() {
  return R"css(
.timeline {
  --paper: #ffffff; --ink: #1f2933; --faint: #66727f; --line: #e3e7ec; --lane: #f6f8fa;
  --good: #2f6fb3; --bad: #c62f2f; --recovery: #7b55b8; --wait: #ffffff; --stop: #e5484d;
  --light: #d99e0b; --power: #8a6d3b; --pump: #0f8f9c; --valve: #3f9d5b; --motor: #b0578d;
  --claw: #54627a; --fault: #d9730d; --info: #8794a3; --on-bar: #ffffff;
  font: 11px system-ui, "Segoe UI", Helvetica, Arial, sans-serif; fill: var(--ink);
}
@media (prefers-color-scheme: dark) {
  .timeline {
    --paper: #14181d; --ink: #e4e8ed; --faint: #97a3b0; --line: #2c333b; --lane: #1a2027;
    --good: #4d8fd6; --bad: #f06a6a; --recovery: #a584dd; --wait: #14181d; --stop: #ff6369;
    --light: #e9b93c; --power: #c2a36b; --pump: #35b5c2; --valve: #5cc07b; --motor: #d37bb2;
    --claw: #a3b1c9; --fault: #f19a45; --info: #76828f; --on-bar: #0d1117;
  }
}
@media print {
  .timeline {
    --paper: #ffffff; --ink: #000000; --faint: #4a545e; --line: #d5dae0; --lane: #f6f8fa;
    --good: #2f6fb3; --bad: #c62f2f; --recovery: #7b55b8; --wait: #ffffff; --stop: #e5484d;
    --light: #d99e0b; --power: #8a6d3b; --pump: #0f8f9c; --valve: #3f9d5b; --motor: #b0578d;
    --claw: #54627a; --fault: #d9730d; --info: #8794a3; --on-bar: #ffffff;
    -webkit-print-color-adjust: exact; print-color-adjust: exact;
  }
}
.timeline text { fill: var(--ink); }
.timeline .small { font-size: 9.5px; }
.timeline .faint { fill: var(--faint); }
.timeline .heading { font-size: 16px; font-weight: 600; }
.timeline .end { text-anchor: end; }
.timeline .middle { text-anchor: middle; }
.timeline .note { paint-order: stroke; stroke: var(--paper); stroke-width: 4px; }
.timeline .paper { fill: var(--paper); }
.timeline .lane { fill: var(--lane); }
.timeline .grid { stroke: var(--line); }
.timeline .chapter { stroke: var(--faint); stroke-dasharray: 2 3; }
.timeline .true { fill: var(--faint); }
.timeline .stretched { fill: none; stroke: var(--faint); stroke-width: 1; }
.timeline .shortened { fill: var(--line); }
.timeline .zigzag { fill: none; stroke: var(--faint); }
.timeline .request { fill: var(--good); }
.timeline .recovery { fill: var(--recovery); }
.timeline .failure { fill: var(--bad); }
.timeline .unfinished { fill-opacity: 0.45; stroke: var(--ink); stroke-dasharray: 3 2; }
.timeline .wait { fill: var(--wait); fill-opacity: 0.6; }
.timeline .operation { fill: var(--faint); }
.timeline text.on-bar { fill: var(--on-bar); pointer-events: none; }
.timeline text.value { pointer-events: none; font-size: 9.5px; }
.timeline .stop { fill: var(--stop); fill-opacity: 0.16; }
.timeline .stop-edge { stroke: var(--stop); stroke-width: 1.5; }
.timeline text.stop-name { fill: var(--stop); font-weight: 600; }
.timeline .device { fill-opacity: 0.4; stroke-width: 1.2; }
.timeline .light { fill: var(--light); stroke: var(--light); }
.timeline .power { fill: var(--power); stroke: var(--power); }
.timeline .pump { fill: var(--pump); stroke: var(--pump); }
.timeline .valve { fill: var(--valve); stroke: var(--valve); }
.timeline .motor { fill: var(--motor); stroke: var(--motor); }
.timeline .claw { fill: var(--claw); stroke: none; fill-opacity: 0.18; }
.timeline .position { fill: none; stroke: var(--claw); stroke-width: 1.8; stroke-linejoin: round; }
.timeline .hover { fill: var(--ink); fill-opacity: 0; }
.timeline .hover:hover { fill-opacity: 0.06; }
.timeline .amiss { fill: var(--bad); fill-opacity: 0.22; }
.timeline .halted { fill: var(--stop); fill-opacity: 0.12; }
.timeline .cross { fill: none; stroke: var(--bad); stroke-width: 2.2; stroke-linecap: round; }
.timeline .fault, .timeline .warning { fill: var(--fault); stroke: var(--paper); stroke-width: 0.8; }
.timeline .info { fill: var(--info); }
.timeline .retry { fill: none; stroke: var(--fault); stroke-width: 1.8; }
.timeline .retry-head { fill: var(--fault); }
.timeline .flag { fill: var(--bad); }
)css";
}

}  // namespace vantrel_can_bridge::workbench
