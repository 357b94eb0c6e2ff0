"use strict";
// Draws what was measured over time, and joins events, plots and pictures. The page says all but
// the plots without it.
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const end = data.end > 0 ? data.end : 1;
  const root = document.documentElement;
  const colour = (name) => getComputedStyle(root).getPropertyValue(name).trim();
  const element = (name, attributes, ...children) => {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes || {})) made.setAttribute(key, value);
    made.append(...children);
    return made;
  };

  // Times.
  const clock = (seconds, digits) => {
    const whole = Math.max(0, seconds);
    const two = (number) => String(Math.floor(number)).padStart(2, "0");
    const rest = digits ? (whole % 60).toFixed(digits).padStart(3 + digits, "0") : two(whole % 60);
    return `${two(whole / 3600)}:${two((whole / 60) % 60)}:${rest}`;
  };
  // The place of the last time that is not after `seconds`.
  const placeOf = (times, seconds) => {
    let low = 0, high = times.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (times[middle] <= seconds) low = middle + 1; else high = middle;
    }
    return Math.max(0, low - 1);
  };
  // The one that begins first.
  const clockAxis = data.axes.filter((axis) => axis.tc).sort((one, other) => one.t[0] - other.t[0])[0];
  const timeText = (seconds) => {
    if (!clockAxis) return clock(seconds, end < 60 ? 2 : 0);
    return seconds < clockAxis.t[0] - 0.001 ? "" : clockAxis.tc[placeOf(clockAxis.t, seconds)] || "";
  };

  // Values.
  const figure = (value) => {
    if (value === null || value === undefined) return "";
    const size = Math.abs(value);
    return size !== 0 && size < 0.01 ? String(Number(value.toPrecision(2)))
      : value.toFixed(size < 1 ? 3 : size < 100 ? 2 : 1).replace(/\.?0+$/, "").replace("-", "−");
  };
  const reading = (column, place) => {
    const low = column.lo[place], high = column.hi ? column.hi[place] : low;
    if (low === null) return "–";
    return figure(low) === figure(high) ? figure(low) : `${figure(low)} … ${figure(high)}`;
  };

  // One cursor over the timeline and all plots.
  const charts = [];
  let now = null;
  const timeline = document.querySelector(".timeline");
  const line = element("div", {class: "now"});
  if (timeline) timeline.append(line);
  const showNow = (seconds) => {
    now = seconds === null ? null : Math.min(end, Math.max(0, seconds));
    for (const chart of charts) {
      chart.draw();
      const {axis, columns} = chart.qa;
      const place = now === null ? -1 : placeOf(axis.t, now);
      chart.qa.reading.textContent = place < 0 ? "" : timeText(axis.t[place]);
      columns.forEach((column, number) => { chart.qa.outputs[number].textContent = place < 0 ? "" : reading(column, place); });
    }
    const track = timeline && timeline.querySelector(".track");
    line.style.display = now === null || !track ? "none" : "block";
    if (track) line.style.left = `${track.offsetLeft + track.offsetWidth * now / end}px`;
  };
  if (timeline) {
    timeline.addEventListener("pointermove", (event) => {
      const track = event.target.closest(".track");
      if (!track) return;
      const box = track.getBoundingClientRect();
      showNow((event.clientX - box.left) / box.width * end);
    });
    timeline.addEventListener("pointerleave", () => showNow(null));
  }

  const QUIET = -60;  // LUFS, dBFS or dBTP

  // What lies behind and before the curves.
  const marks = {
    id: "marks",
    beforeDatasetsDraw(chart) {
      const {ctx, chartArea: area, scales: {x, y}} = chart;
      if (!area) return;
      ctx.save();
      for (const [from, to, kind] of chart.qa.events) {
        if (to - from > 0.98 * end) continue;  // it is everywhere: a band would say nothing
        const left = x.getPixelForValue(from), right = x.getPixelForValue(to);
        ctx.fillStyle = colour(["--band-info", "--band-warn", "--band-fail"][kind]);
        ctx.fillRect(left - 1, area.top, Math.max(2, right - left + 1), area.bottom - area.top);
      }
      ctx.strokeStyle = colour("--limit");
      ctx.setLineDash([6, 4]);
      for (const limit of chart.qa.limits) {
        const row = y.getPixelForValue(limit);
        if (row < area.top || row > area.bottom) continue;
        ctx.beginPath();
        ctx.moveTo(area.left, row);
        ctx.lineTo(area.right, row);
        ctx.stroke();
      }
      ctx.restore();
    },
    afterDatasetsDraw(chart) {
      if (now === null) return;
      const {ctx, chartArea: area, scales: {x}} = chart;
      const column = x.getPixelForValue(now);
      ctx.save();
      ctx.strokeStyle = colour("--text");
      ctx.globalAlpha = 0.6;
      ctx.beginPath();
      ctx.moveTo(column, area.top);
      ctx.lineTo(column, area.bottom);
      ctx.stroke();
      ctx.restore();
    },
  };

  // The lowest and the highest of a stretch, one after the other.
  const pointsOf = (axis, column) => {
    const points = [];
    for (let i = 0; i < axis.t.length; ++i) {
      const low = column.lo[i], high = column.hi ? column.hi[i] : low;
      const next = i + 1 < axis.t.length ? axis.t[i + 1] : axis.t[i];
      points.push({x: axis.t[i], y: low});
      if (high !== low) points.push({x: (axis.t[i] + next) / 2, y: high});
    }
    return points;
  };

  const restyle = (chart) => {
    chart.data.datasets.forEach((set, number) => { set.borderColor = colour(`--c${number % 8}`); });
    for (const scale of Object.values(chart.options.scales)) {
      scale.grid.color = colour("--grid");
      scale.ticks.color = colour("--soft");
    }
  };

  const makeChart = (figureElement) => {
    const {check, axis: axisNumber, columns, limits} = data.charts[Number(figureElement.dataset.chart)];
    const axis = data.axes[axisNumber];
    const canvas = figureElement.querySelector("canvas");
    const values = columns.flatMap((column) => [...column.lo, ...(column.hi || [])]).filter((value) => value !== null);
    const extremes = values.concat(limits);
    const least = extremes.reduce((low, value) => Math.min(low, value), Infinity);
    const most = extremes.reduce((high, value) => Math.max(high, value), -Infinity);
    // What is far below what can be heard would flatten all else.
    const floor = /^(LU|dB)/.test(columns[0].unit) && most > QUIET ? QUIET : -Infinity;
    const chart = new Chart(canvas, {
      type: "line",
      data: {
        datasets: columns.map((column) => ({
          label: column.name, data: pointsOf(axis, column), borderWidth: 1.3, pointRadius: axis.t.length === 1 ? 2 : 0,
          pointHitRadius: 0, tension: 0,
        })),
      },
      options: {
        animation: false, parsing: false, normalized: true, spanGaps: false, maintainAspectRatio: false, events: [],
        plugins: {legend: {display: false}, tooltip: {enabled: false}},
        layout: {padding: {right: 8}},
        scales: {
          x: {type: "linear", min: 0, max: end, grid: {}, ticks: {maxRotation: 0, autoSkipPadding: 24, callback: (value) => timeText(value)}},
          y: {
            grid: {}, ticks: {maxTicksLimit: 5, callback: (value) => figure(value)},
            ...(least < floor ? {min: floor} : {suggestedMin: least}), suggestedMax: most,
            afterFit: (scale) => { scale.width = 56; },
          },
        },
      },
      plugins: [{id: "start", beforeInit: (made) => { made.qa = {axis, columns, limits, events: data.events[check] || [], reading: figureElement.querySelector(".reading"), outputs: figureElement.querySelectorAll("output")}; restyle(made); }}, marks],
    });
    charts.push(chart);
    const timeAt = (event) => chart.scales.x.getValueForPixel(event.clientX - canvas.getBoundingClientRect().left);
    canvas.addEventListener("pointermove", (event) => showNow(timeAt(event)));
    canvas.addEventListener("pointerleave", () => showNow(null));
    canvas.addEventListener("click", (event) => openEventAt(check, timeAt(event)));
    canvas.addEventListener("keydown", (event) => {
      const steps = {ArrowLeft: -1, ArrowRight: 1, PageUp: -20, PageDown: 20};
      if (event.key === "Home" || event.key === "End") showNow(event.key === "Home" ? 0 : end);
      else if (event.key in steps) {
        const place = placeOf(axis.t, now === null ? 0 : now) + steps[event.key];
        showNow(axis.t[Math.min(axis.t.length - 1, Math.max(0, place))]);
      } else if (event.key === "Enter") openEventAt(check, now === null ? 0 : now);
      else return;
      event.preventDefault();
    });
    canvas.addEventListener("blur", () => showNow(null));
  };

  const makeCharts = (panel) => {
    for (const place of panel.querySelectorAll("figure[data-chart]:not([data-made])")) {
      place.dataset.made = "yes";
      makeChart(place);
    }
  };

  // Events: a row of a table each; those in plots and in the timeline lead there.
  const choose = (row) => {
    if (!row) return;
    document.querySelectorAll("tr.chosen").forEach((other) => other.classList.remove("chosen"));
    row.classList.add("chosen");
    const panel = row.closest("details");
    panel.open = true;
    makeCharts(panel);
    row.scrollIntoView({block: "center"});
    if (row.dataset.start !== undefined) showNow(Number(row.dataset.start));
    const picture = row.querySelector("button.picture");
    if (picture) openPicture(picture); else row.focus();
  };
  const openEventAt = (check, seconds) => {
    const slack = end / 200;
    let best = null, least = Infinity;
    for (const row of document.querySelectorAll(`#check-${check} tr[data-start]`)) {
      const from = Number(row.dataset.start), to = Number(row.dataset.end);
      const distance = seconds < from ? from - seconds : seconds > to ? seconds - to : 0;
      if (distance < least) { least = distance; best = row; }
    }
    if (least <= slack) choose(best);
  };
  document.addEventListener("click", (event) => {
    const link = event.target.closest("a[href^='#']");
    if (!link) return;
    const target = document.getElementById(decodeURIComponent(link.hash.slice(1)));
    if (!target) return;
    if (target.matches("tr")) {
      event.preventDefault();
      history.replaceState(null, "", link.hash);
      choose(target);
    } else if (target.matches("details")) {
      target.open = true;
    }
  });

  // Pictures.
  const dialog = document.querySelector("dialog");
  let shown = null;
  const openPicture = (button) => {
    shown = button;
    dialog.querySelector("img").src = button.querySelector("img").src;
    dialog.querySelector("img").alt = button.querySelector("img").alt;
    dialog.querySelector("span").textContent = button.title;
    if (!dialog.open) dialog.showModal();
  };
  const step = (by) => {
    const all = [...document.querySelectorAll("button.picture")];
    openPicture(all[(all.indexOf(shown) + by + all.length) % all.length]);
  };
  document.addEventListener("click", (event) => {
    const button = event.target.closest("button.picture");
    if (button) openPicture(button);
  });
  if (dialog) {
    dialog.querySelector(".close").addEventListener("click", () => dialog.close());
    dialog.querySelector(".before").addEventListener("click", () => step(-1));
    dialog.querySelector(".after").addEventListener("click", () => step(1));
    dialog.addEventListener("click", (event) => { if (event.target === dialog) dialog.close(); });
    dialog.addEventListener("keydown", (event) => {
      if (event.key === "ArrowLeft") step(-1);
      if (event.key === "ArrowRight") step(1);
    });
    dialog.addEventListener("close", () => { if (shown) shown.focus(); });
  }

  // Plots are drawn where they can be seen; on paper all of them.
  const panels = [...document.querySelectorAll("details.check")];
  for (const panel of panels) {
    panel.addEventListener("toggle", () => { if (panel.open) makeCharts(panel); });
    if (panel.open) makeCharts(panel);
  }
  let closed = [];
  const paint = () => { for (const chart of charts) { restyle(chart); chart.resize(); chart.update("none"); } };
  addEventListener("beforeprint", () => {
    closed = panels.filter((panel) => !panel.open);
    for (const panel of panels) { panel.open = true; makeCharts(panel); }
    paint();
  });
  addEventListener("afterprint", () => {
    for (const panel of closed) panel.open = false;
    paint();
  });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", paint);
  if (location.hash) {
    const target = document.getElementById(decodeURIComponent(location.hash.slice(1)));
    if (target && target.matches("tr")) choose(target);
    else if (target && target.matches("details")) target.open = true;
  }
  document.documentElement.dataset.ready = String(charts.length);
})();
