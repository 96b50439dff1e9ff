// The devserver's inspector page: polls the JSON API once a second and shows the requests
// and the visitors. Everything the app sent is outside data, so it only ever reaches the
// page as text nodes (textContent, createTextNode), never as markup.
"use strict";

(function () {
  const POLL_MS = 1000;
  const PAGE_ROWS = 500;
  const MAX_VISITORS = 50;  // requests shown at first; "Show more" adds as many

  const state = {
    cursor: 0,
    paused: false,
    filter: "",
    clearedThrough: 0,   // requests up to this number were cleared from the list
    capacity: 1000,
    rows: new Map(),     // seq -> {entry, li}, oldest first; li built when first shown
    limit: PAGE_ROWS,
    selected: null,      // the profile id shown
    profilesText: "",
    profileText: "",
    timer: null,
  };

  const $ = (id) => document.getElementById(id);
  const count = (n, noun) => n + " " + noun + (n === 1 ? "" : "s");

  // An element with a class and text; `text` is always set as text.
  function el(tag, className, text) {
    const node = document.createElement(tag);
    if (className) node.className = className;
    if (text !== undefined && text !== null) node.textContent = String(text);
    return node;
  }

  function headerValue(entry, name) {
    for (const pair of entry.headers) {
      if (String(pair[0]).toLowerCase() === name) return String(pair[1]);
    }
    return "";
  }

  function screenOf(entry) {
    const referer = headerValue(entry, "referer");
    if (!referer.startsWith("app://")) return "";
    const rest = referer.slice("app://".length);
    const slash = rest.indexOf("/");
    return slash < 0 ? "" : rest.slice(slash + 1);
  }

  function firstOf(list) {
    return Array.isArray(list) && list.length > 0 ? String(list[0]) : "";
  }

  // "createEvent PAGEVIEW", "setProperties", ...
  function commandLabel(command) {
    const params = command.params && typeof command.params === "object" ? command.params : {};
    const type = command.method === "createEvent" ? firstOf(params.type) : "";
    return type ? command.method + " " + type : String(command.method || "?");
  }

  function timeOf(entry) {
    const t = String(entry.time || "");
    return t.length >= 23 ? t.slice(11, 23) : t;
  }

  // --- JSON shown folded: objects and arrays are <details> ------------------------------
  // Short lists and objects of plain values read best on one line: "type": ["PAGEVIEW"].
  function isSmall(value) {
    const children = Array.isArray(value) ? value : Object.values(value);
    return children.every((c) => c === null || typeof c !== "object") &&
        JSON.stringify(value).length <= 100;
  }

  function jsonNode(value, label, open) {
    if (value !== null && typeof value === "object" && !isSmall(value)) {
      const isArray = Array.isArray(value);
      const keys = isArray ? value.map((_, i) => i) : Object.keys(value);
      const details = el("details", "json-node");
      if (open) details.open = true;
      const summary = el("summary");
      if (label !== undefined) summary.appendChild(el("span", "json-key", label + ": "));
      summary.appendChild(
          el("span", "json-other", (isArray ? "[" : "{") + keys.length + (isArray ? "]" : "}")));
      details.appendChild(summary);
      // Children are built when the node is first opened, so big answers cost nothing folded.
      const build = () => {
        if (details.dataset.built) return;
        details.dataset.built = "1";
        const list = el("ul", "json");
        for (const key of keys) {
          const li = el("li");
          li.appendChild(jsonNode(value[key], isArray ? key : JSON.stringify(key), false));
          list.appendChild(li);
        }
        details.appendChild(list);
      };
      if (open) build();
      details.addEventListener("toggle", () => { if (details.open) build(); });
      return details;
    }
    const span = el("span");
    if (label !== undefined) span.appendChild(el("span", "json-key", label + ": "));
    span.appendChild(el("span", typeof value === "string" || (value !== null && typeof value === "object")
                                    ? "json-string" : "json-other",
                        JSON.stringify(value)));
    return span;
  }

  function table(rows) {
    const t = el("table");
    for (const [name, value] of rows) {
      const tr = el("tr");
      tr.appendChild(el("th", null, name));
      const td = el("td");
      if (value instanceof Node) td.appendChild(value); else td.textContent = String(value);
      tr.appendChild(td);
      t.appendChild(tr);
    }
    return t;
  }

  function answerFor(entry, id) {
    const answer = entry.answer;
    if (!answer || !Array.isArray(answer.json)) return undefined;
    return answer.json.find((a) => a && typeof a === "object" && a.id === id);
  }

  function bodyText(body, what) {
    const box = el("div");
    const note = body.truncated
        ? what + ": " + body.size + " bytes, the first " + String(body.text || "").length +
            " shown"
        : what + ": " + body.size + " bytes";
    box.appendChild(el("p", "note", note));
    if (body.text) box.appendChild(el("pre", null, body.text));
    return box;
  }

  // The unfolded part of a request, built when it is first opened.
  function requestDetail(entry) {
    const box = el("div", "detail");
    box.appendChild(el("h3", null, "Headers"));
    const headers = [["User-Agent", headerValue(entry, "user-agent")],
                     ["Referer", headerValue(entry, "referer")]];
    for (const pair of entry.headers) {
      const name = String(pair[0]).toLowerCase();
      if (name !== "user-agent" && name !== "referer") headers.push([pair[0], pair[1]]);
    }
    box.appendChild(table(headers));
    box.appendChild(table([["Address", entry.method + " " + entry.path +
                                           (entry.query ? "?" + entry.query : "")]]));
    if (Array.isArray(entry.commands)) {
      box.appendChild(el("h3", null, "Commands"));
      for (const command of entry.commands) {
        const c = el("div", "command");
        const head = el("div");
        head.appendChild(el("span", "command-name", commandLabel(command)));
        head.appendChild(el("span", "note", "  id " + command.id));
        c.appendChild(head);
        c.appendChild(jsonNode(command.params, "params", true));
        const answer = answerFor(entry, command.id);
        if (answer !== undefined) c.appendChild(jsonNode(answer, "answer", false));
        box.appendChild(c);
      }
    }
    if (entry.body && (entry.body.truncated || !Array.isArray(entry.commands))) {
      box.appendChild(bodyText(entry.body, "Body"));
    }
    box.appendChild(el("h3", null, "Answer"));
    const answer = entry.answer;
    if (!answer) {
      box.appendChild(el("p", "note", "not answered yet"));
    } else {
      const rows = [["Status", answer.status === 0 ? "none (connection closed)" : answer.status]];
      if (answer.fault) rows.push(["Fault", answer.fault]);
      box.appendChild(table(rows));
      if ("json" in answer) {
        box.appendChild(jsonNode(answer.json, "members", false));
      } else if (answer.size > 0) {
        box.appendChild(bodyText(answer, "Body"));
      }
    }
    return box;
  }

  function statusClass(entry) {
    if (!entry.answer) return "status-wait";
    const s = entry.answer.status;
    return s >= 200 && s < 300 && !entry.answer.fault ? "status-ok" : "status-bad";
  }

  function statusText(entry) {
    if (!entry.answer) return "waiting";
    const s = entry.answer.status === 0 ? "no answer" : String(entry.answer.status);
    return entry.answer.fault ? s + " (" + entry.answer.fault + ")" : s;
  }

  function requestRow(entry) {
    const li = el("li");
    const details = el("details", "request");
    const summary = el("summary");
    summary.appendChild(el("span", "seq", "#" + entry.seq));
    summary.appendChild(el("span", "time", timeOf(entry)));
    summary.appendChild(el("span", "profile-id", entry.profileId || "no profile"));
    const names = Array.isArray(entry.commands) ? entry.commands.map(commandLabel) :
                                                  [entry.method + " " + entry.path];
    summary.appendChild(el("span", "methods", names.join(", ")));
    const screen = screenOf(entry);
    if (screen) summary.appendChild(el("span", "screen", "screen " + screen));
    summary.appendChild(el("span", statusClass(entry), statusText(entry)));
    details.appendChild(summary);
    details.addEventListener("toggle", () => {
      if (details.open && !details.dataset.built) {
        details.dataset.built = "1";
        details.appendChild(requestDetail(entry));
      }
    });
    li.appendChild(details);
    li.id = "request-" + entry.seq;
    if (location.hash === "#" + li.id) details.open = true;
    return li;
  }

  function matches(entry) {
    const q = state.filter;
    if (!q) return true;
    if (String(entry.profileId).toLowerCase().includes(q)) return true;
    const commands = Array.isArray(entry.commands) ? entry.commands : [];
    return commands.some((c) => commandLabel(c).toLowerCase().includes(q));
  }

  // Shows the newest `state.limit` requests that match the filter. Rows are built once per
  // request (and again when its answer arrives) and reused, so an opened one stays open;
  // the page holds every request the server keeps but lays out only the ones shown, which
  // keeps it responsive with thousands of them.
  function render() {
    const list = $("requests");
    const shown = [];
    let matching = 0;
    const seqs = Array.from(state.rows.keys());
    for (let i = seqs.length - 1; i >= 0; --i) {
      const row = state.rows.get(seqs[i]);
      if (!matches(row.entry)) continue;
      ++matching;
      if (shown.length < state.limit) {
        if (!row.li) row.li = requestRow(row.entry);
        shown.push(row.li);
      }
    }
    const fresh = document.createDocumentFragment();
    for (const li of shown) fresh.appendChild(li);
    list.textContent = "";
    list.appendChild(fresh);
    $("no-requests").hidden = state.rows.size > 0;
    $("request-count").textContent = shown.length < matching
        ? "(newest " + shown.length + " of " + matching + ")"
        : "(" + matching + ")";
    $("more").hidden = shown.length >= matching;
  }

  function applyFilter() {
    state.limit = PAGE_ROWS;
    render();
  }

  function showRequests(page) {
    for (const entry of page.requests) {
      if (entry.seq <= state.clearedThrough) continue;
      const known = state.rows.get(entry.seq);
      let li = null;
      // A request shown before its answer came is shown again, as open as it was.
      if (known && known.li) {
        li = requestRow(entry);
        if (known.li.firstChild.open) li.firstChild.open = true;
      }
      state.rows.set(entry.seq, {entry, li});
    }
    // The page keeps no more requests than the server does.
    while (state.rows.size > state.capacity) state.rows.delete(state.rows.keys().next().value);
    render();
    const dropped = $("dropped");
    dropped.hidden = page.dropped === 0;
    dropped.textContent = "The server keeps the last " + page.capacity + " requests; " +
        page.dropped + " older ones were dropped.";
    dropped.className = "note";
  }

  // --- Visitors -------------------------------------------------------------------------
  function showProfiles(page) {
    const list = $("profiles");
    list.textContent = "";
    if (page.profiles.length === 0) {
      list.appendChild(el("li", "empty", "No visitors yet."));
      state.selected = null;
      return;
    }
    if (!page.profiles.slice(0, MAX_VISITORS).some((p) => p.id === state.selected)) {
      state.selected = page.profiles[0].id;
    }
    // The visitors seen last; a load test's thousands would bury them.
    for (const profile of page.profiles.slice(0, MAX_VISITORS)) {
      const li = el("li");
      const button = el("button", null, profile.id);
      button.type = "button";
      button.title = count(profile.requests, "request") + ", " +
          (profile.properties === 1 ? "1 property" : profile.properties + " properties");
      if (profile.id === state.selected) button.setAttribute("aria-current", "true");
      button.addEventListener("click", () => {
        state.selected = profile.id;
        state.profileText = "";
        state.profilesText = "";
        poll();
      });
      li.appendChild(button);
      list.appendChild(li);
    }
    if (page.profiles.length > MAX_VISITORS) {
      list.appendChild(el("li", "note", "and " + (page.profiles.length - MAX_VISITORS) +
                                            " visitors seen earlier"));
    }
  }

  function valuesNode(values) {
    const span = el("span");
    values.forEach((value, i) => {
      if (i > 0) span.appendChild(document.createTextNode(", "));
      span.appendChild(el("span", "json-string", value));
    });
    return span;
  }

  function interactionLabel(interaction) {
    if (!interaction || typeof interaction !== "object") return JSON.stringify(interaction);
    const parts = [interaction.pluginClass, interaction.id, interaction.name]
        .filter((p) => p !== undefined && p !== null && p !== "")
        .map(String);
    return parts.join(" · ");
  }

  function showProfile(profile) {
    const box = $("profile");
    box.textContent = "";
    const head = el("h3", null, "Profile ");
    head.appendChild(el("span", "profile-id", profile.id));
    box.appendChild(head);
    if (!profile.known) box.appendChild(el("p", "note", "The server no longer holds this profile."));
    box.appendChild(el("p", "note", count(profile.requests, "request") + ", the last at " +
                                         (profile.lastSeen || "-")));

    box.appendChild(el("h3", null, "Segments"));
    if (!Array.isArray(profile.segments)) {
      box.appendChild(el("p", "empty", "not answered yet"));
    } else if (profile.segments.length === 0) {
      box.appendChild(el("p", "empty", "none"));
    } else {
      const tags = el("div");
      for (const segment of profile.segments) {
        const name = segment && typeof segment === "object" ? (segment.name || segment.id) : segment;
        tags.appendChild(el("span", "tag", name));
      }
      box.appendChild(tags);
    }

    box.appendChild(el("h3", null, "Screens and events"));
    if (profile.screens.length === 0) {
      box.appendChild(el("p", "empty", "none"));
    } else {
      const t = el("table");
      const head = el("tr");
      for (const h of ["event", "screen", "count", "interactions answered"]) head.appendChild(el("th", null, h));
      t.appendChild(head);
      for (const s of profile.screens) {
        const tr = el("tr");
        tr.appendChild(el("td", null, s.event));
        tr.appendChild(el("td", null, s.screen));
        tr.appendChild(el("td", null, s.count));
        const td = el("td");
        if (Array.isArray(s.interactions) && s.interactions.length > 0) {
          for (const i of s.interactions) td.appendChild(el("div", null, interactionLabel(i)));
        } else {
          td.textContent = "none";
        }
        tr.appendChild(td);
        t.appendChild(tr);
      }
      box.appendChild(t);
    }

    box.appendChild(el("h3", null, "Counted events"));
    if (profile.events.length === 0) {
      box.appendChild(el("p", "empty", "none"));
    } else {
      box.appendChild(table(profile.events.map(
          (e) => [e.interaction, e.type + " × " + e.count])));
    }

    box.appendChild(el("h3", null, "Properties"));
    const names = Object.keys(profile.properties);
    const visible = names.filter((n) => !n.startsWith("_"));
    const hidden = names.filter((n) => n.startsWith("_"));
    if (names.length === 0) box.appendChild(el("p", "empty", "none"));
    if (visible.length > 0) {
      box.appendChild(table(visible.map((n) => [n, valuesNode(profile.properties[n])])));
    }
    // A plug-in's hidden point data ("_" + name) is long and read by the server only.
    if (hidden.length > 0) {
      const details = el("details", "hidden-properties");
      details.appendChild(el("summary", "note", "hidden point data (" + hidden.length + ")"));
      details.appendChild(table(hidden.map((n) => [n, valuesNode(profile.properties[n])])));
      box.appendChild(details);
    }
  }

  // --- Polling --------------------------------------------------------------------------
  async function fetchText(path) {
    const response = await fetch(path, {cache: "no-store"});
    if (!response.ok) throw new Error(path + ": " + response.status);
    return response.text();
  }

  async function poll() {
    clearTimeout(state.timer);
    if (state.paused) return;
    try {
      const started = performance.now();
      const page = JSON.parse(await fetchText("/inspect/requests?since=" + state.cursor));
      state.capacity = page.capacity;
      if (page.requests.length > 0) showRequests(page);
      state.cursor = page.cursor;
      const rendered = performance.now() - started;

      const profilesText = await fetchText("/inspect/profiles");
      if (profilesText !== state.profilesText) {
        state.profilesText = profilesText;
        showProfiles(JSON.parse(profilesText));
      }
      if (state.selected) {
        const profileText =
            await fetchText("/inspect/profiles/" + encodeURIComponent(state.selected));
        if (profileText !== state.profileText) {
          state.profileText = profileText;
          showProfile(JSON.parse(profileText));
        }
      }
      document.body.dataset.cursor = String(state.cursor);
      $("status").textContent = "live · updated " + new Date().toLocaleTimeString() +
          (page.requests.length > 0 ? " · " + page.requests.length + " in " +
                                          Math.round(rendered) + " ms" : "");
    } catch (error) {
      $("status").textContent = "cannot reach the server (" + error.message + "); retrying";
    }
    if (!state.paused) state.timer = setTimeout(poll, POLL_MS);
  }

  function start() {
    // "?filter=text" opens the page filtered, e.g. from a link or a script.
    const given = new URLSearchParams(location.search).get("filter");
    if (given) {
      $("filter").value = given;
      state.filter = given.trim().toLowerCase();
    }
    $("filter").addEventListener("input", (event) => {
      state.filter = event.target.value.trim().toLowerCase();
      applyFilter();
    });
    $("more").addEventListener("click", () => {
      state.limit += PAGE_ROWS;
      render();
    });
    $("pause").addEventListener("click", () => {
      state.paused = !state.paused;
      $("pause").textContent = state.paused ? "Resume" : "Pause";
      $("pause").setAttribute("aria-pressed", String(state.paused));
      if (state.paused) {
        clearTimeout(state.timer);
        $("status").textContent = "paused";
      } else {
        poll();
      }
    });
    $("clear").addEventListener("click", () => {
      for (const seq of state.rows.keys()) state.clearedThrough = Math.max(state.clearedThrough, seq);
      state.rows.clear();
      state.limit = PAGE_ROWS;
      render();
    });
    poll();
  }

  if (document.readyState === "loading") {
    document.addEventListener("DOMContentLoaded", start);
  } else {
    start();
  }
})();
