// report --html: one self-contained page. Its policy lets nothing leave it or run in it (no
// script, no request: only its own inline style); every text from a log is escaped, so a log
// line that holds markup shows as text.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "log_report.hpp"
#include "report.hpp"

namespace qx::cli {
namespace {

namespace cpputil = install::cpputil;

constexpr int width = 800;
constexpr int height = 64;
constexpr int columns = 200;  // entries are counted per column of 4 pixels

void text(std::string& out, std::string_view from_log) {
  fl::text::append_escaped(out, from_log, {fl::text::escape_style::html});
}

// A message of several lines, for a <pre>: each line escaped, the line feeds kept.
void lines(std::string& out, std::string_view message) {
  for (std::size_t end = message.find('\n'); end != std::string_view::npos;
       end = message.find('\n')) {
    text(out, message.substr(0, end));
    out += '\n';
    message.remove_prefix(end + 1);
  }
  text(out, message);
}

// "1 file", "2 files".
std::string counted(std::size_t count, std::string_view one, std::string_view more) {
  return std::to_string(count) + ' ' + std::string(count == 1 ? one : more);
}

std::int64_t time_of(cpputil::LogEntry const& entry) {
  return (entry.utc_time ? entry.utc_time->time_since_epoch()
                         : entry.local_time->time_since_epoch())
      .count();
}

// What the timeline of one run shows, gathered in a second pass over the log.
struct Timeline {
  std::int64_t start = 0;
  std::int64_t span = 1;
  double pause = 0;  // the seconds from which a gap is shaded
  std::vector<std::uint32_t> counts = std::vector<std::uint32_t>(columns, 0);
  std::vector<double> failures;  // x of each failure
  struct Gap {
    double from = 0;
    double to = 0;
    std::int64_t seconds = 0;
  };
  std::vector<Gap> gaps;
  std::set<std::uint64_t> failure_lines;
  std::map<std::uint64_t, std::int64_t> gap_lines;  // the summary's longest gaps, by line
  std::optional<Gap> open_gap;                      // a gap's start, waiting for the next entry

  [[nodiscard]] double x(std::int64_t seconds) const {
    return static_cast<double>(seconds - start) * width / static_cast<double>(span);
  }
};

// Reads the log again, entry by entry, for the timelines of its runs (by their lines).
std::vector<Timeline> timelines(std::string const& path, cpputil::LogSummary const& summary) {
  std::vector<Timeline> runs(summary.runs.size());
  for (std::size_t i = 0; i < runs.size(); ++i) {
    cpputil::LogRunSummary const& run = summary.runs[i];
    for (auto const& failure : run.failures) runs[i].failure_lines.insert(failure.line);
    for (auto const& gap : run.gaps) runs[i].gap_lines.emplace(gap.after_line, gap.seconds);
  }
  cpputil::LogReader reader(fl::filesystem::make_path(path));
  cpputil::LogEntry entry;
  std::size_t at = 0;
  std::vector<bool> started(runs.size(), false);
  while (reader.next(entry) && at < runs.size()) {
    while (at < runs.size() && entry.line > summary.runs[at].last_line) ++at;
    if (at == runs.size()) break;
    if (entry.kind == cpputil::LogEntryKind::outside || !entry.local_time) continue;
    Timeline& run = runs[at];
    std::int64_t const now = time_of(entry);
    if (!started[at]) {
      started[at] = true;
      run.start = now;
      auto const& summary_run = summary.runs[at];
      std::int64_t const end = summary_run.end_utc ? summary_run.end_utc->time_since_epoch().count()
                               : summary_run.end_local
                                   ? summary_run.end_local->time_since_epoch().count()
                                   : now;
      run.span = std::max<std::int64_t>(1, end - now);
      run.pause = 5.0 * static_cast<double>(run.span) /
                  static_cast<double>(std::max<std::uint64_t>(1, summary_run.entries));
    }
    double const x = std::clamp(run.x(now), 0.0, static_cast<double>(width));
    auto const column = std::min<std::size_t>(columns - 1, static_cast<std::size_t>(x / 4));
    ++run.counts[column];
    if (run.open_gap) {
      run.open_gap->to = x;
      // A pause: five times the run's mean time between entries, and wide enough to show. The
      // longest gaps of a steady run are none.
      if (static_cast<double>(run.open_gap->seconds) >= run.pause &&
          x - run.open_gap->from >= width / 50.0)
        run.gaps.push_back(*run.open_gap);
      run.open_gap.reset();
    }
    if (run.failure_lines.contains(entry.line)) run.failures.push_back(x);
    if (auto const gap = run.gap_lines.find(entry.line); gap != run.gap_lines.end())
      run.open_gap = Timeline::Gap{x, x, gap->second};
  }
  return runs;
}

std::string fixed(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f", value);
  return buffer;
}

void append_timeline(std::string& out, Timeline const& run, cpputil::LogRunSummary const& summary,
                     std::size_t index) {
  out += "<svg class=\"timeline\" viewBox=\"0 0 " + std::to_string(width) + " " +
         std::to_string(height + 16) + "\" width=\"" + std::to_string(width) + "\" height=\"" +
         std::to_string(height + 16) + "\" role=\"img\" aria-label=\"timeline of run " +
         std::to_string(index) + "\">";
  for (auto const& gap : run.gaps) {
    out += "<rect class=\"gap\" x=\"" + fixed(gap.from) + "\" y=\"0\" width=\"" +
           fixed(gap.to - gap.from) + "\" height=\"" + std::to_string(height) + "\"><title>" +
           tools::duration_text(static_cast<double>(gap.seconds)) +
           " without an entry</title></rect>";
  }
  std::uint32_t const most =
      std::max<std::uint32_t>(1, *std::max_element(run.counts.begin(), run.counts.end()));
  for (std::size_t column = 0; column < run.counts.size(); ++column) {
    if (run.counts[column] == 0) continue;
    double const bar =
        std::max(2.0, (height - 8) * std::sqrt(static_cast<double>(run.counts[column]) / most));
    out += "<rect class=\"entries\" x=\"" + std::to_string(column * 4) + "\" y=\"" +
           fixed(height - bar) + "\" width=\"3\" height=\"" + fixed(bar) + "\"><title>" +
           std::to_string(run.counts[column]) + " entries</title></rect>";
  }
  for (double const x : run.failures) {
    out += "<line class=\"failure\" x1=\"" + fixed(x) + "\" x2=\"" + fixed(x) +
           "\" y1=\"0\" y2=\"" + std::to_string(height) + "\"/>";
  }
  out += "<text x=\"0\" y=\"" + std::to_string(height + 13) + "\">";
  text(out, summary.start_text);
  out += "</text><text x=\"" + std::to_string(width) + "\" y=\"" + std::to_string(height + 13) +
         "\" text-anchor=\"end\">";
  text(out, summary.end_text);
  out +=
      "</text></svg>\n<p class=\"legend\"><span class=\"key entries\"></span>entries "
      "<span class=\"key failure\"></span>failures <span class=\"key gap\"></span>long "
      "pauses</p>\n";
}

void append_quote(std::string& out, std::uint64_t line, std::string_view message) {
  out += "<li><span class=\"line\">line " + std::to_string(line) + "</span><pre>";
  lines(out, message);
  out += "</pre></li>\n";
}

void append_run(std::string& out, cpputil::LogRunSummary const& run, Timeline const& timeline,
                std::size_t index) {
  std::string const outcome = cpputil::toString(run.outcome);
  out += "<section class=\"run " + outcome + "\">\n<h3>Run " + std::to_string(index) + ", lines " +
         std::to_string(run.first_line) + "&ndash;" + std::to_string(run.last_line) +
         ": <span class=\"outcome\">" + outcome + "</span></h3>\n<dl>";
  out += "<dt>product</dt><dd>";
  text(out, run.start.product.empty() ? "unknown" : run.start.product + " " + run.start.version);
  out += "</dd><dt>start</dt><dd>";
  text(out, run.start_text);
  if (!run.start.zone.empty()) {
    out += " (";
    text(out, run.start.zone);
    out += ")";
  }
  out += "</dd><dt>end</dt><dd>";
  text(out, run.end_text);
  out += "</dd><dt>duration</dt><dd>" +
         (run.duration_s ? tools::duration_text(*run.duration_s) : std::string("unknown")) +
         "</dd><dt>entries</dt><dd>" + std::to_string(run.entries) + "</dd>";
  if (run.lost_entries > 0) {
    out += "<dt>lost entries</dt><dd>" + std::to_string(run.lost_entries) + ", the last: ";
    text(out, run.last_loss);
    out += "</dd>";
  }
  out += "</dl>\n";
  append_timeline(out, timeline, run, index);
  if (run.first_failure) {
    out += "<h4>First failure</h4>\n<ol class=\"context\">\n";
    for (auto const& before : run.context) append_quote(out, before.line, before.message);
    out += "</ol>\n<ol class=\"failure\">\n";
    append_quote(out, run.first_failure->line, run.first_failure->message);
    out += "</ol>\n";
  }
  if (run.failures.size() > 1) {
    out += "<details><summary>" +
           counted(run.failures.size() - 1, "other failure", "other failures") +
           "</summary>\n<ol class=\"failure\">\n";
    for (std::size_t i = 1; i < run.failures.size(); ++i)
      append_quote(out, run.failures[i].line, run.failures[i].message);
    out += "</ol></details>\n";
  }
  if (!run.files.empty()) {
    out += "<details><summary>" + counted(run.files.size(), "file", "files") +
           " copied in</summary>\n<ul>\n";
    for (auto const& file : run.files) {
      out += "<li>line " + std::to_string(file.line) + ": <code>";
      text(out, file.copy.path);
      out += "</code>, " + std::to_string(file.copy.bytes) + " bytes" +
             (file.copy.withheld   ? ", content withheld"
              : file.copy.redacted ? ", redacted"
                                   : "") +
             "</li>\n";
    }
    out += "</ul></details>\n";
  }
  if (!run.leaks.empty()) {
    out += "<h4>Secrets leaked</h4>\n<ul class=\"leaks\">\n";
    for (auto const& leak : run.leaks) {
      out += "<li>line " + std::to_string(leak.line) + ": the value of <code>";
      text(out, leak.key);
      out += "</code></li>\n";
    }
    out += "</ul>\n";
  }
  out += "</section>\n";
}

constexpr std::string_view style = R"(
body{font:14px/1.4 system-ui,sans-serif;margin:2em;color:#222}
h2{border-bottom:1px solid #ccc}
section.run{margin:1em 0 2em;padding-left:1em;border-left:4px solid #999}
section.succeeded{border-color:#2a7}section.failed{border-color:#c33}
section.cancelled{border-color:#c93}section.unfinished{border-color:#888}
.outcome{text-transform:uppercase}
dl{display:grid;grid-template-columns:7em auto;margin:0}dt{color:#666}dd{margin:0}
svg.timeline{display:block;margin:.5em 0;background:#fafafa}
svg .entries{fill:#68a}svg .gap{fill:#fd8;opacity:.6}svg .failure{stroke:#c33;stroke-width:2}
svg text{font-size:11px;fill:#555}
.legend{margin:0 0 .8em;font-size:12px;color:#555}
.key{display:inline-block;width:10px;height:10px;margin:0 .3em 0 .8em;vertical-align:-1px}
.key.entries{background:#68a;margin-left:0}.key.failure{background:#c33}.key.gap{background:#fd8}
ol{list-style:none;padding:0}li{display:grid;grid-template-columns:6em 1fr}
pre{white-space:pre-wrap;margin:0}.line{color:#666}
ol.failure li{background:#fee}ol.context li{color:#555}
table{border-collapse:collapse}td,th{padding:.2em .6em;border-bottom:1px solid #ddd;text-align:left}
)";

}  // namespace

std::string report_html(std::vector<ReportedLog> const& logs,
                        std::vector<FleetSignature> const& signatures) {
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'\">\n<title>Installation log report</title>\n<style>";
  out += style;
  out += "</style>\n</head>\n<body>\n<h1>Installation log report</h1>\n";
  for (ReportedLog const& log : logs) {
    out += "<article class=\"log\">\n<h2>";
    text(out, log.path);
    out += "</h2>\n<p>" + counted(log.summary.runs.size(), "run", "runs") + " in " +
           counted(log.summary.lines, "line", "lines") + "</p>\n";
    std::vector<Timeline> const runs = timelines(log.path, log.summary);
    for (std::size_t i = 0; i < log.summary.runs.size(); ++i)
      append_run(out, log.summary.runs[i], runs[i], i + 1);
    out += "</article>\n";
  }
  if (logs.size() > 1) {
    out +=
        "<h2>Failure signatures</h2>\n<table>\n<tr><th>runs</th><th>signature</th>"
        "<th>first seen</th></tr>\n";
    for (FleetSignature const& signature : signatures) {
      out += "<tr><td>" + std::to_string(signature.runs) + "</td><td><code>";
      text(out, signature.signature);
      out += "</code></td><td>";
      text(out, signature.path);
      out += ", line " + std::to_string(signature.line) + "</td></tr>\n";
    }
    out += "</table>\n";
  }
  out += "</body>\n</html>\n";
  return out;
}

}  // namespace qx::cli
