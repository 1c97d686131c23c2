#include "writers/html/parts.h"

namespace orvix::si_inspect {

/// Colours are named once for light and once for dark; each text on its ground has a contrast of at
/// least 4.5.
markup html_style() {
    return R"css(:root {
  color-scheme: light dark;
  --ground: #f3f5f8; --surface: #fff; --ink: #1a2029; --quiet: #55606d; --line: #d8dee6;
  --link: #0a57a5; --bar: #2f74b8; --rest: #e6ebf1; --limit: #b42318;
  --error: #8f1d14; --error-ground: #fde6e3;
  --warning: #6a4200; --warning-ground: #fcefd2;
  --note: #1d4c78; --note-ground: #e2edf9;
  --hour: 11rem; --name: 9.5rem;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #0f1318; --surface: #181d24; --ink: #e6eaf0; --quiet: #a0abb8; --line: #303844;
    --link: #86bbf7; --bar: #5b9fe0; --rest: #29303a; --limit: #ff8f80;
    --error: #ffb8ae; --error-ground: #4a1b16;
    --warning: #ffd591; --warning-ground: #433005;
    --note: #aed0f6; --note-ground: #18324e;
  }
}
* { box-sizing: border-box; }
html { scroll-padding-top: 4rem; -webkit-text-size-adjust: 100%; text-size-adjust: 100%; }
body {
  margin: 0 auto; max-width: 82rem; padding: 2rem 1.5rem; background: var(--ground);
  color: var(--ink); font: 1rem/1.5 system-ui, "Segoe UI", Roboto, "Noto Sans", sans-serif;
  overflow-wrap: anywhere;
}
h1, h2, h3, h4, p, ul, ol, dl, dd { margin: 0; padding: 0; }
ul, ol { list-style: none; }
h1 { font-size: 2.25rem; line-height: 1.15; letter-spacing: -.02em; }
h2 { font-size: 1.5rem; line-height: 1.2; margin: 3rem 0 1rem; letter-spacing: -.01em; }
h3 { font-size: 1.125rem; line-height: 1.3; }
h4 { font-size: .875rem; line-height: 1.3; }
a { color: var(--link); }
:focus-visible { outline: 2px solid var(--link); outline-offset: 2px; }
code, pre { font-family: ui-monospace, "Cascadia Mono", "DejaVu Sans Mono", monospace; }
.quiet, .above { color: var(--quiet); }
.above { font-size: .875rem; margin-bottom: .25rem; }
.number { color: var(--quiet); font-variant-numeric: tabular-nums; margin-right: .15rem; }
.unseen { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); white-space: nowrap; }
.remark { color: var(--quiet); margin: .75rem 0; }
footer { margin-top: 3rem; padding-top: 1rem; border-top: 1px solid var(--line); color: var(--quiet); font-size: .875rem; }

.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(11rem, 1fr)); gap: .75rem 1.5rem; }
.facts .wide { grid-column: span 2; }
dt { color: var(--quiet); font-size: .8125rem; }
dd, .figure, time { font-variant-numeric: tabular-nums; }
header .facts { margin-top: 1.25rem; }
.measures { display: grid; grid-template-columns: repeat(6, 1fr); gap: 1px; margin-top: 1.5rem; background: var(--line); border: 1px solid var(--line); border-radius: .5rem; overflow: hidden; }
.measures div { background: var(--surface); padding: .75rem 1rem; }
.measures dd { font-size: 1.25rem; font-weight: 600; }

nav ul { display: flex; flex-wrap: wrap; gap: .25rem 1.25rem; }
nav a { display: inline-block; white-space: nowrap; padding: .375rem 0; text-decoration: none; }
nav a:hover { text-decoration: underline; }
body > nav { position: sticky; top: 0; z-index: 20; margin: 1.5rem -1.5rem 0; padding: .5rem 1.5rem; background: var(--ground); border-bottom: 1px solid var(--line); }
main > section:first-child h2 { margin-top: 2rem; }

.severity { display: inline-block; padding: 0 .5rem; border-radius: .25rem; font-size: .8125rem; font-weight: 600; line-height: 1.5rem; }
.severity.error { color: var(--error); background: var(--error-ground); }
.severity.warning { color: var(--warning); background: var(--warning-ground); }
.severity.note { color: var(--note); background: var(--note-ground); }
.counts { display: flex; flex-wrap: wrap; gap: .5rem; margin-bottom: .75rem; }
.finding { background: var(--surface); border: 1px solid var(--line); border-left: .25rem solid var(--note); border-radius: .375rem; padding: .625rem 1rem; }
.finding + .finding { margin-top: .5rem; }
.finding.error { border-left-color: var(--limit); }
.finding.warning { border-left-color: var(--warning); }
.finding .severity { margin-right: .375rem; }
.place { display: flex; flex-wrap: wrap; gap: 0 1.25rem; margin-top: .25rem; color: var(--quiet); font-size: .8125rem; }

.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 30rem), 1fr)); gap: 1rem; align-items: start; }
.card { background: var(--surface); border: 1px solid var(--line); border-radius: .5rem; padding: 1.25rem; }
.card h3 { font-size: 1.375rem; }
.card h4 { margin: 1.25rem 0 .375rem; }
.card .facts { grid-template-columns: 1fr 1fr; gap: .375rem 1.5rem; }
.card dd, .card td, .card tbody th, .applications { font-size: .9375rem; }
.events { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 13rem), 1fr)); gap: 1rem 1.5rem; margin: .75rem 0 1rem; padding: .75rem 0; border-block: 1px solid var(--line); }
.events dd > * { display: block; }
.kind { font-size: .875rem; }
.applications .quiet { display: block; font-size: .8125rem; }

.rating { display: inline-block; min-width: 1.5rem; padding: 0 .25rem; border-radius: .1875rem; text-align: center; font-size: .8125rem; font-weight: 700; line-height: 1.375rem; border: 1px solid transparent; print-color-adjust: exact; -webkit-print-color-adjust: exact; }
.rL { background: #00793f; color: #fff; }
.r10 { background: #0067b1; color: #fff; }
.r12 { background: #ffcf00; color: #000; }
.r14 { background: #f58220; color: #000; }
.r16 { background: #c8102e; color: #fff; }
.r18 { background: #000; color: #fff; border-color: #8a929c; }

table { border-collapse: collapse; width: 100%; font-size: .9375rem; }
th { text-align: left; font-weight: 400; }
thead th { color: var(--quiet); font-size: .8125rem; white-space: nowrap; }
th, td { padding: .3125rem 1rem .3125rem 0; vertical-align: middle; border-bottom: 1px solid var(--line); }
tr > :last-child { padding-right: 0; }
tbody tr:last-child > * { border-bottom: 0; }
th[scope=row] { font-variant-numeric: tabular-nums; white-space: nowrap; }
.figure { text-align: right; white-space: nowrap; }
.scroll { position: relative; overflow-x: auto; background: var(--surface); border: 1px solid var(--line); border-radius: .5rem; padding: .5rem 1rem; }
.scroll td, .scroll th { overflow-wrap: normal; }
.quiet + .scroll { margin-top: .75rem; }
#bit-rate h3, #guide h3 { margin: 1.5rem 0 .5rem; }
.bar { width: 30%; min-width: 8rem; }
.bar svg { display: block; width: 100%; height: .625rem; }
svg rect { fill: var(--bar); }
svg .rest { fill: var(--rest); }
.plot { display: block; width: 10rem; height: 1rem; }
.plot circle { fill: var(--surface); stroke: var(--bar); stroke-width: 2; }
.plot .axis { stroke: var(--line); }
.plot .limit { stroke: var(--limit); stroke-width: 2; }
.over rect, .beyond { fill: var(--limit); }
.over circle { stroke: var(--limit); }
.over .longest { color: var(--limit); font-weight: 700; }

#guide nav ul { gap: 0 1.25rem; }
.day { padding: 0; }
.timeline { min-width: 100%; width: calc(var(--name) + var(--hours) * var(--hour)); }
.hours { display: flex; padding-left: var(--name); color: var(--quiet); font-size: .8125rem; }
.hours span { flex: 0 0 var(--hour); padding: .25rem .5rem; border-left: 1px solid var(--line); }
.row { display: flex; border-top: 1px solid var(--line); }
.row h4 { flex: 0 0 var(--name); position: sticky; left: 0; z-index: 6; padding: .625rem .75rem; background: var(--surface); font-size: .9375rem; }
.row ol { position: relative; flex: 1; height: 6rem; background: repeating-linear-gradient(90deg, var(--line) 0 1px, transparent 1px var(--hour)); }
.row li { position: absolute; top: 0; bottom: 0; left: calc(var(--at) * var(--hour) / 60); width: calc(var(--for) * var(--hour) / 60); min-width: .25rem; padding: .1875rem; }
.row details { height: 100%; overflow: hidden; background: var(--ground); border: 1px solid var(--line); border-radius: .375rem; }
.row summary { height: 100%; padding: .3125rem .5rem; list-style: none; cursor: pointer; overflow: hidden; }
.row summary::-webkit-details-marker { display: none; }
.row summary > * { display: block; white-space: nowrap; overflow: hidden; text-overflow: ellipsis; }
.row time, .genre { font-size: .8125rem; color: var(--quiet); line-height: 1.25; }
.title { font-weight: 600; line-height: 1.35; }
.row .kind { line-height: 1.4; font-size: .8125rem; }
.row .rating { line-height: 1rem; font-size: .75rem; }
.endless details { border-style: dashed; }
.row details[open] { position: relative; z-index: 5; width: max(100%, 21rem); height: auto; min-height: 100%; background: var(--surface); border-color: var(--link); box-shadow: 0 .25rem 1rem rgb(0 0 0 / 25%); }
.row details[open] > summary { height: auto; }
.row details[open] > summary > * { white-space: normal; }
.day:has(details[open]) { padding-bottom: 7rem; }
.more { padding: 0 .5rem .5rem; font-size: .9375rem; }
.more p { white-space: pre-line; margin-top: .25rem; }

.table { background: var(--surface); border: 1px solid var(--line); border-radius: .5rem; }
.table + .table { margin-top: .5rem; }
.table summary { padding: .625rem 1rem; cursor: pointer; font-weight: 600; }
.missing { padding: 0 1rem .75rem 2.25rem; list-style: disc; font-size: .9375rem; }
#guide > .table { margin: .75rem 0; }
.table summary .quiet { font-weight: 400; margin-left: .5rem; }
pre { margin: 0; padding: .5rem 1rem 1rem; overflow: auto; max-height: 40rem; font-size: .8125rem; line-height: 1.45; overflow-wrap: normal; }

@media (max-width: 48rem) {
  body { padding: 1.25rem 1rem; }
  body > nav { position: static; margin-inline: -1rem; padding-inline: 1rem; }
  h1 { font-size: 1.75rem; }
  h2 { margin-top: 2.5rem; }
  .facts { grid-template-columns: 1fr 1fr; }
  header .facts { grid-template-columns: 1fr; }
  .facts .wide { grid-column: auto; }
  .measures { grid-template-columns: repeat(2, 1fr); }
  .card { padding: 1rem; }
  .scroll:not(.day) { padding: .25rem .75rem; }
  .minor { display: none; }
  th, td { padding-right: .625rem; font-size: .875rem; }
  .scroll th[scope=row] { white-space: normal; }
  .bar { min-width: 3rem; }
  .plot { width: 5.5rem; }
}
@media (max-width: 48rem), print {
  .timeline { width: auto; min-width: 0; }
  .hours { display: none; }
  .day { overflow: visible; }
  .row { display: block; }
  .row + .row { border-top: 1px solid var(--line); }
  .hours + .row { border-top: 0; }
  .row h4 { position: static; padding: .75rem 1rem .25rem; background: none; }
  .row ol { height: auto; background: none; padding-bottom: .5rem; }
  .row li { position: static; width: auto; padding: 0; }
  .row details, .row details[open] { width: auto; height: auto; background: none; border: 0; border-radius: 0; box-shadow: none; }
  .row summary { display: grid; grid-template-columns: 6.25rem 1fr; gap: 0 .5rem; height: auto; padding: .375rem 1rem; }
  .row summary > * { white-space: normal; grid-column: 2; }
  .row summary > time { grid-column: 1; line-height: 1.35rem; }
  .more { padding: 0 1rem .5rem 7.75rem; }
  .day:has(details[open]) { padding-bottom: 0; }
}
@media print {
  :root { --ground: #fff; --surface: #fff; --ink: #000; --quiet: #444; --line: #bbb; --link: #000; }
  body { max-width: none; padding: 0; font-size: 10pt; }
  nav, #tables { display: none; }
  .finding, .card, .row li, tr { break-inside: avoid; }
  h2, h3, h4 { break-after: avoid; }
  .scroll, .scroll:not(.day) { overflow: visible; border: 0; padding: 0; }
  .scroll th[scope=row] { white-space: normal; }
  th, td { padding-right: .5rem; font-size: 8.5pt; }
  .plot { width: 6rem; }
  .measures dd { font-size: 11pt; }
  svg, .severity { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  .row details::details-content { content-visibility: visible; display: block; height: auto; }
}
)css"_html;
}

}  // namespace orvix::si_inspect
