#include "report/page.h"

#include "report/svg.h"

namespace kelpcheck {

namespace {

const char *const kStyle = R"css(
:root { color-scheme: light dark; --paper: #fff; --ink: #1c2126; --soft: #5b6670; --line: #dde2e6;
  --wash: #f5f7f8; --good: #1a7f4b; --bad: #b3261e; --idle: #8a6100; --mark: #1f6f94; --pale: #b9d6e3; }
@media (prefers-color-scheme: dark) { :root { --paper: #14181b; --ink: #e4e8ea; --soft: #98a3ab;
  --line: #2d353a; --wash: #1b2125; --good: #5fc48f; --bad: #f28b82; --idle: #e0b354;
  --mark: #6db9db; --pale: #2f5568; } }
* { box-sizing: border-box }
body { margin: 0; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif;
  font-variant-numeric: tabular-nums }
main { max-width: 980px; margin: 0 auto; padding: 40px 24px 64px }
header { border-top: 6px solid var(--verdict); padding-top: 20px }
.kind { color: var(--soft); margin: 0 }
h1 { font-size: 40px; line-height: 1.15; margin: 2px 0 4px; color: var(--verdict); font-weight: 650;
  letter-spacing: -.01em }
h1::first-letter { text-transform: uppercase }
h2 { font-size: 20px; font-weight: 620; margin: 44px 0 10px }
h3 { font-size: 15px; font-weight: 620; margin: 26px 0 4px; display: flex; gap: 10px }
h3 span { color: var(--soft); font-weight: 400 }
.summary { font-size: 17px; margin: 0 0 22px }
dl { display: grid; grid-template-columns: max-content 1fr; gap: 4px 22px; margin: 0 }
dt { color: var(--soft) }
dd { margin: 0; overflow-wrap: anywhere }
table { border-collapse: collapse; width: 100% }
td, th { text-align: left; vertical-align: top; padding: 6px 14px 6px 0;
  border-bottom: 1px solid var(--line); font-weight: 400 }
th { color: var(--soft); font-size: 13px }
.n { text-align: right; white-space: nowrap }
td:last-child, th:last-child { padding-right: 0 }
code { font: .87em/1.5 ui-monospace, "SF Mono", "DejaVu Sans Mono", Menlo, Consolas, monospace;
  overflow-wrap: anywhere }
.v { width: 64px; white-space: nowrap; font-weight: 600 }
.passed { color: var(--good) } .failed { color: var(--bad) } .not-run { color: var(--idle) }
.promise { display: block }
.evidence { color: var(--soft); font-size: .9em; display: block; overflow-wrap: anywhere }
.wrong { display: block; font-size: .93em; margin: 4px 0 0; padding: 6px 10px; background: var(--wash);
  border-left: 3px solid var(--bad); overflow-wrap: anywhere }
.said { white-space: pre-wrap; color: var(--soft); margin: 6px 0 0 }
.wide { overflow-x: auto } .wide svg, .wide table { min-width: 760px }
.wide td, .wide th { padding: 3px 0 3px 14px; white-space: nowrap; font-size: 13px }
.wide td:first-child, .wide th:first-child { padding-left: 0 }
.wide .wrap { white-space: normal; min-width: 8em } .wide .wrap:last-child { min-width: 16em }
svg { display: block; width: 100%; height: auto; font-size: 12px }
svg text { fill: var(--ink) } svg .tick { fill: var(--soft); font-size: 11px }
svg .head { font-weight: 600 } .middle { text-anchor: middle } .end { text-anchor: end }
.grid { stroke: var(--line) } .range { stroke: var(--mark); stroke-width: 1.5; opacity: .55 }
.range-curve { fill: none; stroke: var(--mark); stroke-width: 1.2; stroke-dasharray: 5 4 }
.box { fill: var(--pale) } .median { fill: var(--mark) } .rate { fill: var(--pale) }
.written { fill: none; stroke: var(--mark); stroke-width: 1.4 } .read { fill: var(--bad) }
.key { color: var(--soft); font-size: 13.5px; margin: 0 0 8px }
.key i { display: inline-block; vertical-align: middle; margin: 0 6px 2px 0 }
.key i + i { margin-left: 14px } .k-line { width: 22px; border-top: 2px solid var(--mark) }
.k-dot { width: 7px; height: 7px; border-radius: 4px; background: var(--bad) }
.k-median { width: 8px; height: 8px; border-radius: 4px; background: var(--mark) }
.o-ack { --o: var(--good) } .o-fail, .o-lost { --o: var(--bad) } .o-unk { --o: #8e5bb5 }
.o-skip { --o: var(--idle) } .o-gap { --o: var(--line) }
svg .o-ack, svg .o-fail, svg .o-lost, svg .o-unk, svg .o-skip, svg .o-gap { fill: var(--o) }
.k-sq { width: 10px; height: 10px; background: var(--o) }
.k-box { width: 18px; height: 8px; background: var(--pale) }
ul { margin: 0; padding-left: 20px } .sign { display: none } .sign td { height: 44px; vertical-align: bottom }
footer { margin-top: 44px; color: var(--soft); font-size: 13px }
@media (max-width: 600px) { main { padding: 22px 16px 40px } h1 { font-size: 32px }
  dl { grid-template-columns: 1fr; gap: 0 } dd { margin-bottom: 8px }
  .checks tr { display: grid; grid-template-columns: 1fr auto; padding: 8px 0;
    border-bottom: 1px solid var(--line) }
  .checks td { border: 0; padding: 0 } .checks .what { grid-column: 1 / 3; grid-row: 2 } }
@media print { :root { color-scheme: light; --paper: #fff; --ink: #000; --soft: #444; --line: #ccc;
  --wash: #f4f4f4; --good: #1a7f4b; --bad: #b3261e; --idle: #8a6100; --mark: #1f6f94;
  --pale: #b9d6e3 } * { print-color-adjust: exact; -webkit-print-color-adjust: exact }
  main { max-width: none; padding: 0 } tr, svg, section, li { break-inside: avoid }
  .sign { display: block } .sign td { border-bottom: 1px solid var(--ink) }
  h2, h3 { break-after: avoid } thead { display: table-header-group } .wide { overflow: visible } .wide svg, .wide table { min-width: 0 }
  .wide td, .wide th { font-size: 10px } body { font-size: 12px } }
)css";

}  // namespace

std::string page_begin(const PageHead &head) {
  std::string html = text(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"/>",
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>",
      "<title>kelpcheck: ", escaped(head.verdict), ", ", escaped(head.host), "</title><style>",
      kStyle, "</style></head>\n<body style=\"--verdict: var(", head.good ? "--good" : "--bad",
      ")\"><main>\n<header><p class=\"kind\">", escaped(head.kind), "</p><h1>",
      escaped(head.verdict), "</h1><p class=\"summary\">", escaped(head.summary), "</p><dl>\n");
  for (const auto &[name, value] : head.facts) {
    html += text("<dt>", escaped(name), "</dt><dd>", escaped(value), "</dd>\n");
  }
  return html + "</dl></header>\n";
}

std::string page_end(const std::string &footer) {
  return "<footer>" + escaped(footer) + "</footer></main></body></html>\n";
}

}  // namespace kelpcheck
