// How the page of a report looks: its style sheet, for light and dark, wide and narrow, and paper.

#pragma once

namespace velora::report {

// The text between <style> and </style>.
inline constexpr char kReportStyle[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f4f6f8; --card: #fff; --ink: #17212b; --soft: #5a6774; --line: #e2e7ec; --grid: #edf0f3;
  --good: #13754a; --good-back: #e4f4ec; --warn: #9a5b00; --warn-back: #fdf1dc;
  --bad: #bb2d2d; --bad-back: #fce9e8; --link: #1a5f9e;
  --s1: #d3e5f6; --s2: #a8cdee; --s3: #74afe2; --s4: #3f8bcc; --s5: #1f66a6; --s6: #0c406f;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0e1318; --card: #161d24; --ink: #e7ecf1; --soft: #98a6b3; --line: #2a343e; --grid: #202931;
    --good: #52c78d; --good-back: #12301f; --warn: #f0ab4b; --warn-back: #33260f;
    --bad: #ff8177; --bad-back: #3a1b1a; --link: #7dbcf2;
    --s1: #1d3b57; --s2: #225680; --s3: #2b75ab; --s4: #4496d3; --s5: #7dbcec; --s6: #c4e2fa;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; text-size-adjust: 100%; }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font: 15px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", "Noto Sans", Arial, sans-serif;
  font-variant-numeric: tabular-nums;
}
main { max-width: 1120px; margin: 0 auto; padding: 40px 24px 56px; }
h1, h2, p, dl, dd, ol, ul, figure { margin: 0; padding: 0; }
h1 { font-size: 30px; line-height: 1.2; font-weight: 650; letter-spacing: -.015em; overflow-wrap: anywhere; }
h2 { font-size: 17px; line-height: 1.3; font-weight: 650; margin-bottom: 16px; }
h2 small { font-size: 12px; font-weight: 500; color: var(--soft); letter-spacing: .04em; margin-left: 6px; }
a { color: var(--link); }
svg { display: block; }
.brand { display: flex; align-items: center; gap: 9px; color: var(--soft); font-size: 13px; margin-bottom: 14px; }
.brand b { color: var(--ink); font-weight: 650; }
.brand rect { fill: var(--s4); } .brand rect + rect { fill: var(--s6); } .brand rect + rect + rect { fill: var(--s3); }
.under { color: var(--soft); margin-top: 6px; overflow-wrap: anywhere; }
.verdict { display: flex; gap: 12px; align-items: flex-start; margin-top: 20px; padding: 12px 16px; border-radius: 10px; }
.verdict svg { flex: none; margin-top: 1px; }
.verdict path, .verdict circle { fill: none; stroke: currentColor; stroke-width: 2; stroke-linecap: round; stroke-linejoin: round; }
.verdict b { font-weight: 650; }
.verdict span { color: var(--ink); overflow-wrap: anywhere; min-width: 0; }
.verdict.good { background: var(--good-back); color: var(--good); }
.verdict.warn { background: var(--warn-back); color: var(--warn); }
.verdict.bad { background: var(--bad-back); color: var(--bad); }
.facts { display: grid; grid-template-columns: repeat(5, 1fr); gap: 1px; margin-top: 16px;
  background: var(--line); border: 1px solid var(--line); border-radius: 12px; overflow: hidden; }
.facts div { background: var(--card); padding: 14px 16px 13px; min-width: 0; }
.facts dt { color: var(--soft); font-size: 12.5px; }
.facts dd { font-size: 22px; line-height: 1.3; font-weight: 600; letter-spacing: -.01em; }
.facts dd + dd { font-size: 12.5px; line-height: 1.45; font-weight: 400; letter-spacing: 0; color: var(--soft); }
.card { background: var(--card); border: 1px solid var(--line); border-radius: 12px; padding: 20px 24px 22px; margin-top: 16px; }
.note { color: var(--soft); font-size: 13px; margin-top: 14px; }
.problems { list-style: none; }
.problems > li { padding: 10px 0; border-top: 1px solid var(--line); }
.problems > li:first-child { border-top: 0; padding-top: 0; }
.problems > li:last-child { padding-bottom: 0; }
.problems b { font-weight: 600; overflow-wrap: anywhere; }
.problems ul { list-style: none; margin-top: 2px; }
.problems ul li { position: relative; padding-left: 20px; overflow-wrap: anywhere; }
.problems ul li::before { content: ""; position: absolute; left: 3px; top: .55em; width: 8px; height: 8px; border-radius: 50%; background: var(--warn); }
.problems ul li.bad::before { background: var(--bad); border-radius: 2px; }
.problems ul li.soft::before { background: none; border: 1.5px solid var(--soft); }
.problems .soft { color: var(--soft); }
figure + figure { margin-top: 28px; padding-top: 22px; border-top: 1px solid var(--line); }
figcaption { color: var(--soft); font-size: 13px; margin-bottom: 8px; }
.rows { list-style: none; }
.row { display: grid; grid-template-columns: minmax(0, 210px) minmax(0, 1fr) 84px; column-gap: 18px; align-items: center; }
.row .name { grid-area: 1 / 1; display: flex; min-width: 0; font-size: 13.5px; }
.row .dir { color: var(--soft); flex: 0 9999 auto; min-width: 0; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.row .base { flex: 0 1 auto; min-width: 0; overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.row .bar { grid-area: 1 / 2; width: 100%; height: 30px; overflow: visible; }
.row .count { grid-area: 1 / 3; text-align: right; font-size: 13.5px; }
.row.output { border-top: 1px solid var(--line); margin-top: 6px; padding-top: 6px; }
.row.output .base, .row.output .count { font-weight: 650; }
.row text { font-size: 12px; fill: var(--soft); }
.row text.gone { fill: var(--bad); }
.row text.gap { text-anchor: middle; paint-order: stroke; stroke: var(--card); stroke-width: 8px; stroke-linejoin: round; font-size: 11.5px; }
.axis .bar { height: 46px; }
.axis .end { fill: var(--soft); font-size: 11.5px; }
.axis g text { fill: var(--ink); font-size: 12px; }
.grid { stroke: var(--grid); } .tick { stroke: var(--soft); }
.line { stroke: var(--soft); stroke-dasharray: 2 3; fill: none; }
.s1 { fill: var(--s1); } .s2 { fill: var(--s2); } .s3 { fill: var(--s3); }
.s4 { fill: var(--s4); } .s5 { fill: var(--s5); } .s6 { fill: var(--s6); }
.mark { overflow: visible; }
path.bad { stroke: var(--bad); stroke-width: 2.6; stroke-linecap: round; fill: none; }
path.warn { fill: var(--warn); stroke: var(--warn); stroke-width: 1.5; stroke-linejoin: round; }
path.halo { stroke: var(--card); stroke-width: 6.5; stroke-linecap: round; stroke-linejoin: round; fill: none; }
.legend { list-style: none; display: flex; flex-wrap: wrap; gap: 4px 24px; margin-top: 6px; color: var(--soft); font-size: 12.5px; }
.legend li { display: flex; align-items: center; gap: 7px; }
.scale { display: inline-flex; align-items: center; flex-wrap: wrap; }
.scale i { width: 18px; height: 11px; }
.scale i.k1 { margin-left: 6px; border-radius: 2px 0 0 2px; } .scale i.k6 { margin-right: 6px; border-radius: 0 2px 2px 0; }
.k1 { background: var(--s1); } .k2 { background: var(--s2); } .k3 { background: var(--s3); }
.k4 { background: var(--s4); } .k5 { background: var(--s5); } .k6 { background: var(--s6); }
table { border-collapse: collapse; width: 100%; font-size: 13.5px; }
th { font-weight: 500; color: var(--soft); font-size: 12.5px; text-align: right; white-space: nowrap; padding: 0 0 8px 18px; vertical-align: bottom; }
td { text-align: right; vertical-align: top; padding: 10px 0 10px 18px; border-top: 1px solid var(--line); }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
th.left, td.left { text-align: left; }
td.time { white-space: nowrap; }
td:first-child small { white-space: normal; }
td:first-child b { font-weight: 550; overflow-wrap: anywhere; display: block; }
td small { display: block; white-space: nowrap; font-size: 12.5px; color: var(--soft); }
tfoot td { border-top: 2px solid var(--line); }
tfoot td:first-child b { font-weight: 650; }
td .ok { color: var(--good); } td .warn { color: var(--warn); font-weight: 550; } td .bad { color: var(--bad); font-weight: 550; }
.run { display: grid; grid-template-columns: 120px minmax(0, 1fr); gap: 6px 18px; font-size: 13.5px; }
.run dt { color: var(--soft); }
.run dd { overflow-wrap: anywhere; }
code { font: .92em ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", monospace; background: var(--grid); border-radius: 4px; padding: 1px 5px; margin-right: 5px; word-break: break-all; -webkit-box-decoration-break: clone; box-decoration-break: clone; }
footer { color: var(--soft); font-size: 12.5px; margin-top: 20px; text-align: center; }
@media (max-width: 860px) {
  main { padding: 24px 16px 40px; }
  h1 { font-size: 25px; }
  .card { padding: 16px 16px 18px; }
  .facts { grid-template-columns: repeat(2, 1fr); }
  .facts div:first-child { grid-column: 1 / -1; }
  .row { grid-template-columns: minmax(0, 1fr) auto; }
  .row .count { grid-area: 1 / 2; }
  .row .bar { grid-area: 2 / 1 / auto / -1; height: 24px; margin-bottom: 6px; }
  .axis .bar { height: 60px; }
  .axis .to { transform: translateY(14px); }
  .axis .second { display: none; }
  .axis g text { font-size: 11px; }
  thead { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
  table, tbody, tfoot { display: block; }
  tr { display: grid; grid-template-columns: 1fr 1fr; column-gap: 28px; border-top: 1px solid var(--line); padding: 12px 0; }
  tbody tr:first-child { border-top: 0; padding-top: 0; }
  tfoot tr { border-top: 2px solid var(--line); padding-bottom: 0; }
  td, tfoot td { border: 0; padding: 2px 0; display: flex; justify-content: space-between; gap: 12px; text-align: right; }
  td::before { content: attr(data-label); color: var(--soft); flex: none; }
  td:first-child { display: block; grid-column: 1 / -1; padding-bottom: 4px; }
  td:first-child::before { content: none; }
  td.left { grid-column: 1 / -1; order: 1; text-align: right; }
  .run { grid-template-columns: 1fr; gap: 0; }
  .run dd { margin-bottom: 8px; }
}
@media print {
  body { background: none; }
  .card, .facts { break-inside: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)css";

}  // namespace velora::report
