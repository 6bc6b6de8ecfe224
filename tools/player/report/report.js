// report.html's script: reads the play that ffplay put in the page, fills
// the summary tables, and draws the charts with uPlot on one time axis that
// zooms and pans as one. Everything it needs is in the file.
(function () {
  'use strict';

  const started = performance.now();
  const data = JSON.parse(document.getElementById('ffplay-data').textContent);
  const S = data.strings;
  const summary = data.summary;
  const motors = data.motors;
  const duration = Math.max(1, data.durationMs);
  const charts = [];
  const MARKS = ['', 'download', 'update', 'start', 'stop', 'destroy'];
  const MARK_GLYPH = ['', 'D', 'U', '\u25B6', '\u25A0', '\u2715'];
  const KIND_COLOUR = ['#999', '#1f77b4', '#d62728', '#ff7f0e', '#d62728', '#9467bd'];
  const KIND_PRIORITY = [1, 2, 5, 3, 5, 4];
  const CHANNEL_COLOURS = [['#1f77b4', '#9467bd'], ['#17becf', '#e377c2']];
  const LANE_COLOURS = ['#2ca02c', '#ff7f0e', '#1f77b4', '#8c564b', '#e377c2', '#17becf', '#bcbd22', '#9467bd'];

  // ---------------------------------------------------------------- data

  function el(tag, attrs, text) {
    const e = document.createElement(tag);
    for (const k in attrs || {}) e.setAttribute(k, attrs[k]);
    if (text !== undefined) e.textContent = String(text);
    return e;
  }

  // Series come as little-endian 16-bit values in base64.
  function decode(name, scale) {
    const text = data.series[name];
    if (text === undefined) return null;
    const bin = atob(text);
    const out = new Float64Array(bin.length >> 1);
    for (let i = 0; i < out.length; i++) {
      let v = bin.charCodeAt(2 * i) | (bin.charCodeAt(2 * i + 1) << 8);
      if (v & 0x8000) v -= 0x10000;
      out[i] = v * scale;
    }
    return out;
  }

  function sums(deltas) {
    const out = new Float64Array(deltas.length);
    let t = 0;
    for (let i = 0; i < deltas.length; i++) out[i] = (t += deltas[i]);
    return out;
  }

  // Points: one per millisecond, or a bucket's lowest and highest value.
  const bucket = data.bucketMs;
  const xs = (function () {
    if (bucket <= 1) {
      const x = new Float64Array(data.samples);
      for (let i = 0; i < x.length; i++) x[i] = i + 1;
      return x;
    }
    const buckets = Math.ceil(data.samples / bucket);
    const x = new Float64Array(2 * buckets);
    for (let b = 0; b < buckets; b++) {
      x[2 * b] = b * bucket + 1;
      x[2 * b + 1] = b * bucket + 1 + bucket / 2;
    }
    return x;
  })();
  const unit = 1 / data.forceScale;
  // Lanes of a pad are motor speeds; the page shows them as the bytes sent.
  const laneScale = motors ? unit * 255 : unit;

  const reports = { t: sums(data.reports.t), s: data.reports.s, c: data.reports.c, k: data.reports.k };
  const calls = { t: sums(data.calls.t), l: data.calls.l, r: data.calls.r, f: data.calls.f, e: data.calls.e, k: data.calls.k };

  // First index whose time is at least t.
  function lowerBound(times, t) {
    let lo = 0, hi = times.length;
    while (lo < hi) {
      const mid = (lo + hi) >> 1;
      if (times[mid] < t) lo = mid + 1; else hi = mid;
    }
    return lo;
  }

  function fmtMs(ms) {
    if (ms === 0) return '0';
    if (Math.abs(ms) < 1000) return Math.round(ms) + ' ms';
    return (ms / 1000).toFixed(3).replace(/\.?0+$/, '') + ' s';
  }

  function tickLabel(v, incr) {
    if (v === 0) return '0';
    if (incr < 100) return Math.round(v) + ' ms';
    const digits = incr >= 1000 ? 0 : incr >= 100 ? 1 : 2;
    return (v / 1000).toFixed(digits).replace(/\.0+$/, '') + ' s';
  }

  // ------------------------------------------------------------- summary

  function table(caption, head, rows, id) {
    const t = el('table', id ? { id: id } : {});
    t.appendChild(el('caption', {}, caption));
    if (head) {
      const tr = el('tr');
      head.forEach(function (h, i) { tr.appendChild(el('th', i && h.num ? { class: 'num' } : {}, h.text || h)); });
      t.appendChild(tr);
    }
    rows.forEach(function (row) {
      const tr = el('tr');
      row.forEach(function (cell) {
        if (cell && typeof cell === 'object') {
          const attrs = { class: cell.cls || (cell.value !== undefined ? 'num' : '') };
          if (cell.key !== undefined) {
            attrs['data-key'] = cell.key;
            attrs['data-value'] = String(cell.value);
            if (cell.at !== undefined) attrs['data-at'] = String(cell.at);
          }
          tr.appendChild(el(cell.th ? 'th' : 'td', attrs, cell.text !== undefined ? cell.text : cell.value));
        } else {
          tr.appendChild(el('td', {}, cell));
        }
      });
      t.appendChild(tr);
    });
    return t;
  }

  function num(key, value, text, cls, at) { return { key: key, value: value, text: text, cls: cls, at: at }; }

  function renderSummary() {
    const box = document.getElementById('summary');
    const c = summary.clipping;
    document.getElementById('device').textContent = data.model + ' (' + data.family + ') at joystick ' + data.joystick +
      ' \u00B7 ' + fmtMs(data.durationMs) + ' \u00B7 scenario ' + summary.scenario;

    const callRows = [
      ['driver calls', num('calls', summary.calls)],
      ['failed unexpectedly', num('failed-calls', summary.failedCalls, undefined, summary.failedCalls ? 'num bad' : 'num')],
      ['rejected as expected', num('expected-rejections', summary.expectedRejections)],
    ];
    summary.callTable.forEach(function (row) {
      callRows.push([row[0] + ' \u2192 ' + row[1], num('call-' + row[0] + ' ' + row[1], row[2])]);
    });
    box.appendChild(table('Calls and results', null, callRows, 'calls-table'));

    const kindRows = [['reports written', num('reports-written', summary.reports)]];
    summary.reportKinds.forEach(function (row) { kindRows.push([row[0], num('kind-' + row[0], row[1])]); });
    box.appendChild(table('Reports by kind', null, kindRows, 'reports-table'));

    const what = c.reportKind + ' reports';
    const clipRows = [
      [what, num('clip-reports', c.reports)],
      ['at the ends of the range', num('clip-clipped-reports', c.clippedReports, undefined, c.clippedReports ? 'num bad' : 'num')],
      ['share', num('clip-share', c.share, c.share + ' %')],
      ['time clipped', num('clip-ms', c.clippedMs, c.clippedMs + ' ms')],
      ['length of the run', num('run-ms', c.durationMs, c.durationMs + ' ms')],
      ['clipped stretches', num('clip-stretches', c.stretches)],
      ['longest stretch', num('clip-longest-ms', c.longestMs, c.longestMs + ' ms' + (c.longestMs ? ' at ' + c.longestAtMs + ' ms' : ''),
        undefined, c.longestMs ? c.longestAtMs : undefined)],
    ];
    c.channels.forEach(function (ch) {
      clipRows.push([ch.name + ' clipped', num('clip-channel-' + ch.name, ch.clippedMs,
        ch.clippedMs + ' ms (' + ch.share + ' %)')]);
      clipRows.push([ch.name + ' longest stretch', num('clip-channel-longest-' + ch.name, ch.longestMs,
        ch.longestMs + ' ms' + (ch.longestMs ? ' at ' + ch.longestAtMs + ' ms' : ''), undefined, ch.longestMs ? ch.longestAtMs : undefined)]);
    });
    const clipTable = table('Clipping', null, clipRows, 'clipping-table');
    box.appendChild(clipTable);

    const effectRows = summary.effects.map(function (e) {
      return [e.name, e.type,
        num('effect-caused-' + e.name, e.causedMs, e.causedMs + ' ms', e.causedMs > 0 ? 'num bad' : 'num'),
        { value: e.causedShare, text: e.causedShare + ' %' },
        { value: e.clippedMsWithout, text: e.clippedMsWithout + ' ms' },
        { value: e.peak, text: e.peak }];
    });
    const head = ['effect', 'type', { text: 'clipping caused', num: true }, { text: 'of the clipped time', num: true },
      { text: 'clipped with it muted', num: true }, { text: motors ? 'peak motor' : 'peak force', num: true }];
    const wrap = el('div');
    if (summary.attributed) {
      wrap.appendChild(table('Per effect', head, effectRows, 'effects-table'));
      wrap.appendChild(el('p', { class: 'note' },
        'Clipping caused: the clipped time of the whole play less that of a replay with the effect muted (negative: ' +
        'the effect kept others from clipping). The lanes below come from replays with every other effect muted, on ' +
        'the same wheel path; ' + summary.replays + ' replays in all. Muted: downloaded with gain 0, every call still made.'));
    } else {
      wrap.appendChild(table('Per effect', null, [['not attributed: ' + summary.note]], 'effects-table'));
    }
    box.appendChild(wrap);
  }

  // -------------------------------------------------------------- charts

  let syncing = false;
  let view = { min: 0, max: duration };

  function setView(min, max) {
    let span = Math.max(4, Math.min(duration, max - min));
    min = Math.max(0, Math.min(min, duration - span));
    view = { min: min, max: min + span };
    syncing = true;
    charts.forEach(function (u) { u.setScale('x', { min: view.min, max: view.max }); });
    syncing = false;
    if (overview) overview.redraw(false);
    rangeText.textContent = fmtMs(view.min) + ' \u2013 ' + fmtMs(view.max);
  }

  function zoom(factor, at) {
    const centre = at === undefined ? (view.min + view.max) / 2 : at;
    setView(centre - (centre - view.min) * factor, centre + (view.max - centre) * factor);
  }

  function pan(fraction) {
    const span = view.max - view.min;
    setView(view.min + span * fraction, view.max + span * fraction);
  }

  function chartWidth() { return Math.max(480, document.getElementById('charts').clientWidth - 8); }

  // Draws under the series: shaded clipped stretches, play intervals.
  function shade(u, stretches, colour) {
    const ctx = u.ctx, top = u.bbox.top, height = u.bbox.height;
    const from = u.scales.x.min, to = u.scales.x.max;
    ctx.save();
    ctx.fillStyle = colour;
    let x0 = -1, x1 = -1;
    for (let i = 0; i < stretches.length; i++) {
      const s = stretches[i];
      if (s[1] < from || s[0] > to) continue;
      const a = u.valToPos(Math.max(s[0], from), 'x', true), b = u.valToPos(Math.min(s[1], to), 'x', true);
      if (x0 >= 0 && a - x1 < 1) { x1 = b; continue; }
      if (x0 >= 0) ctx.fillRect(x0, top, Math.max(1, x1 - x0), height);
      x0 = a; x1 = b;
    }
    if (x0 >= 0) ctx.fillRect(x0, top, Math.max(1, x1 - x0), height);
    ctx.restore();
  }

  function drawReportTicks(u) {
    const ctx = u.ctx, top = u.bbox.top;
    const from = lowerBound(reports.t, u.scales.x.min), to = lowerBound(reports.t, u.scales.x.max + 1);
    const tick = 8 * devicePixelRatio;
    let lastPx = -1, lastKind = -1;
    ctx.save();
    ctx.lineWidth = Math.max(1, devicePixelRatio);
    function flush() {
      if (lastPx < 0) return;
      ctx.strokeStyle = KIND_COLOUR[lastKind];
      ctx.beginPath();
      ctx.moveTo(lastPx + 0.5, top);
      ctx.lineTo(lastPx + 0.5, top + tick);
      ctx.stroke();
    }
    for (let i = from; i < to; i++) {
      const px = Math.round(u.valToPos(reports.t[i], 'x', true));
      const kind = reports.k[i];
      if (px === lastPx) {
        if (KIND_PRIORITY[kind] > KIND_PRIORITY[lastKind]) lastKind = kind;
        continue;
      }
      flush();
      lastPx = px; lastKind = kind;
    }
    flush();
    ctx.restore();
  }

  function drawLimits(u, limits) {
    const ctx = u.ctx;
    ctx.save();
    ctx.strokeStyle = 'rgba(214, 39, 40, 0.6)';
    ctx.setLineDash([4 * devicePixelRatio, 4 * devicePixelRatio]);
    limits.forEach(function (v) {
      const y = Math.round(u.valToPos(v, 'y', true)) + 0.5;
      ctx.beginPath();
      ctx.moveTo(u.bbox.left, y);
      ctx.lineTo(u.bbox.left + u.bbox.width, y);
      ctx.stroke();
    });
    ctx.restore();
  }

  function drawMarks(u, effect) {
    const ctx = u.ctx, top = u.bbox.top, height = u.bbox.height;
    const from = lowerBound(calls.t, u.scales.x.min), to = lowerBound(calls.t, u.scales.x.max + 1);
    ctx.save();
    ctx.font = (10 * devicePixelRatio) + 'px sans-serif';
    ctx.textAlign = 'center';
    ctx.textBaseline = 'top';
    let lastPx = -99;
    for (let i = from; i < to; i++) {
      if (calls.e[i] !== effect || !calls.k[i]) continue;
      const px = Math.round(u.valToPos(calls.t[i], 'x', true)) + 0.5;
      const colour = calls.f[i] ? '#d62728' : calls.k[i] === 3 ? '#2a7d2a' : '#555';
      ctx.strokeStyle = colour;
      ctx.fillStyle = colour;
      ctx.globalAlpha = 0.5;
      ctx.beginPath();
      ctx.moveTo(px, top);
      ctx.lineTo(px, top + height);
      ctx.stroke();
      ctx.globalAlpha = 1;
      if (px - lastPx > 10 * devicePixelRatio) ctx.fillText(MARK_GLYPH[calls.k[i]], px, top + 1);
      lastPx = px;
    }
    ctx.restore();
  }

  function xAxis() {
    const incrs = [];
    for (let p = 1; p <= 1e7; p *= 10) incrs.push(p, 2 * p, 5 * p);
    return {
      incrs: incrs,
      space: 70,
      values: function (u, splits, axisIdx, space, incr) { return splits.map(function (v) { return tickLabel(v, incr); }); },
    };
  }

  // A lane is compact: no legend (hovering tells the values) and no time
  // labels of its own, so that its height goes to the force.
  function makeChart(box, title, note, height, series, columns, yRange, draw, cls) {
    const compact = cls === 'lane';
    const wrap = el('div', { class: 'chart ' + (cls || '') });
    const h = el('h2', {}, title);
    if (note) { h.appendChild(document.createTextNode(' ')); h.appendChild(el('small', {}, note)); }
    wrap.appendChild(h);
    box.appendChild(wrap);
    const opts = {
      width: chartWidth(),
      height: height,
      series: [{ label: 'time', value: function (u, v) { return v === null ? '' : fmtMs(v); } }].concat(series),
      scales: { x: { time: false }, y: { range: yRange } },
      axes: [compact ? Object.assign(xAxis(), { size: 6, values: function (u, splits) { return splits.map(function () { return ''; }); } })
                     : xAxis(),
             { size: 56, space: compact ? 16 : 30 }],
      cursor: { sync: { key: 'ffplay' }, drag: { x: true, y: false, setScale: false }, points: { show: false } },
      legend: { show: !compact || series.length > 1, live: true },
      hooks: {
        drawClear: [function (u) { if (draw.under) draw.under(u); }],
        draw: [function (u) { if (draw.over) draw.over(u); }],
        setSelect: [function (u) {
          if (u.select.width > 4) {
            setView(u.posToVal(u.select.left, 'x'), u.posToVal(u.select.left + u.select.width, 'x'));
          }
          u.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
        }],
        setScale: [function (u, key) {
          if (key !== 'x' || syncing) return;
          // uPlot sets the x scale itself on a double-click: the whole run.
          setView(u.scales.x.min, u.scales.x.max);
        }],
      },
    };
    const u = new uPlot(opts, [xs].concat(columns), wrap);
    attachPointer(u);
    charts.push(u);
    return u;
  }

  // ------------------------------------------------------------- pointer

  const tooltip = document.getElementById('tooltip');

  function showTooltip(u, e) {
    const rect = u.over.getBoundingClientRect();
    const px = e.clientX - rect.left;
    const t = u.posToVal(px, 'x');
    const near = 8 * (u.scales.x.max - u.scales.x.min) / Math.max(1, rect.width);
    let best = -1;
    const i = lowerBound(reports.t, t);
    for (const j of [i - 1, i]) {
      if (j < 0 || j >= reports.t.length || Math.abs(reports.t[j] - t) > near) continue;
      if (best < 0 || Math.abs(reports.t[j] - t) < Math.abs(reports.t[best] - t)) best = j;
    }
    const callsNear = [];
    for (let j = lowerBound(calls.t, t - near); j < calls.t.length && calls.t[j] <= t + near && callsNear.length < 8; j++)
      callsNear.push(j);
    tooltip.textContent = '';
    if (best < 0 && !callsNear.length) { tooltip.hidden = true; return; }
    if (best >= 0) {
      // Several reports can share a millisecond; list them all.
      let first = best, last = best;
      while (first > 0 && reports.t[first - 1] === reports.t[best]) first--;
      while (last + 1 < reports.t.length && reports.t[last + 1] === reports.t[best]) last++;
      tooltip.appendChild(el('div', {}, fmtMs(reports.t[best]) + ' (' + reports.t[best] + ' ms)'));
      for (let j = first; j <= last && j < first + 6; j++) {
        tooltip.appendChild(el('pre', {}, S[reports.s[j]]));
        tooltip.appendChild(el('div', { class: 'causes' },
          reports.c[j] >= 0 ? 'after ' + S[reports.c[j]] : 'no call since the report before'));
      }
    }
    callsNear.forEach(function (j) {
      tooltip.appendChild(el('div', { class: 'call' }, calls.t[j] + ' ms  call ' + S[calls.l[j]] + ': ' + S[calls.r[j]] +
        (calls.f[j] ? '  (unexpected)' : '')));
    });
    tooltip.hidden = false;
    const x = Math.min(e.clientX + 14, window.innerWidth - tooltip.offsetWidth - 8);
    const y = e.clientY + 16 + tooltip.offsetHeight > window.innerHeight ? e.clientY - tooltip.offsetHeight - 10 : e.clientY + 16;
    tooltip.style.left = Math.max(4, x) + 'px';
    tooltip.style.top = Math.max(4, y) + 'px';
  }

  function attachPointer(u) {
    u.over.addEventListener('mousemove', function (e) { showTooltip(u, e); });
    u.over.addEventListener('mouseleave', function () { tooltip.hidden = true; });
    u.over.addEventListener('wheel', function (e) {
      e.preventDefault();
      const rect = u.over.getBoundingClientRect();
      if (e.shiftKey || Math.abs(e.deltaX) > Math.abs(e.deltaY)) {
        pan((e.shiftKey ? e.deltaY : e.deltaX) > 0 ? 0.15 : -0.15);
      } else {
        zoom(e.deltaY < 0 ? 0.8 : 1.25, u.posToVal(e.clientX - rect.left, 'x'));
      }
    }, { passive: false });
  }

  // ------------------------------------------------------------ overview

  let overview = null;
  let rangeText = null;

  function makeOverview(box, column) {
    const wrap = el('div', { class: 'chart overview' });
    wrap.appendChild(el('h2', {}, 'Whole run ', undefined));
    wrap.firstChild.appendChild(el('small', {}, 'drag or click here to move the view'));
    box.appendChild(wrap);
    overview = new uPlot({
      width: chartWidth(),
      height: 70,
      series: [{}, { stroke: '#888', width: 1 }],
      scales: { x: { time: false, min: 0, max: duration }, y: { range: motors ? [0, 260] : [-135, 135] } },
      axes: [Object.assign(xAxis(), { size: 24 }), { size: 56, stroke: 'transparent', grid: { show: false }, ticks: { show: false } }],
      cursor: { show: false, drag: { x: false, y: false } },
      legend: { show: false },
      select: { show: false },
      hooks: {
        draw: [function (u) {
          const ctx = u.ctx, b = u.bbox;
          const a = u.valToPos(view.min, 'x', true), z = u.valToPos(view.max, 'x', true);
          ctx.save();
          ctx.fillStyle = 'rgba(0, 0, 0, 0.12)';
          ctx.fillRect(b.left, b.top, a - b.left, b.height);
          ctx.fillRect(z, b.top, b.left + b.width - z, b.height);
          ctx.strokeStyle = '#2a5d9f';
          ctx.lineWidth = 2 * devicePixelRatio;
          ctx.strokeRect(a, b.top + 1, Math.max(2, z - a), b.height - 2);
          ctx.restore();
        }],
      },
    }, [xs, column], wrap);
    let dragging = false;
    function centreAt(e) {
      const rect = overview.over.getBoundingClientRect();
      const t = overview.posToVal(e.clientX - rect.left, 'x');
      const span = view.max - view.min;
      setView(t - span / 2, t + span / 2);
    }
    overview.over.addEventListener('mousedown', function (e) { dragging = true; centreAt(e); e.preventDefault(); });
    window.addEventListener('mousemove', function (e) { if (dragging) centreAt(e); });
    window.addEventListener('mouseup', function () { dragging = false; });
  }

  function makeToolbar(box) {
    const bar = el('div', { id: 'toolbar' });
    function button(text, title, fn) {
      const b = el('button', { type: 'button', title: title }, text);
      b.addEventListener('click', fn);
      bar.appendChild(b);
    }
    button('Whole run', 'show the whole run (double-click a chart does the same)', function () { setView(0, duration); });
    button('Zoom in', 'zoom in (+)', function () { zoom(0.5); });
    button('Zoom out', 'zoom out (-)', function () { zoom(2); });
    button('\u25C0', 'earlier (left arrow)', function () { pan(-0.5); });
    button('\u25B6', 'later (right arrow)', function () { pan(0.5); });
    rangeText = el('span', { class: 'range' });
    bar.appendChild(rangeText);
    bar.appendChild(el('span', { class: 'help' },
      'Drag across a chart to zoom to a stretch; the wheel zooms at the pointer, Shift+wheel pans; ' +
      'hover a report tick (top of the first chart) for its bytes, meaning and the calls it answered.'));
    box.appendChild(bar);
    document.addEventListener('keydown', function (e) {
      if (e.target && (e.target.tagName === 'INPUT' || e.target.tagName === 'TEXTAREA')) return;
      if (e.key === 'ArrowLeft') pan(-0.25);
      else if (e.key === 'ArrowRight') pan(0.25);
      else if (e.key === '+' || e.key === '=') zoom(0.5);
      else if (e.key === '-') zoom(2);
      else return;
      e.preventDefault();
    });
  }

  function renderCharts() {
    const box = document.getElementById('charts');
    makeToolbar(box);
    const channels = data.channels;
    const commands = channels.map(function (ch) { return decode('command.' + ch, 1); });
    makeOverview(box, commands[0]);

    // 1. What the reports command, with the range ends.
    // Commands hold until the next report: steps, where every millisecond is
    // there; a long run's lowest-and-highest pairs read better as lines.
    const stepped = bucket <= 1 && uPlot.paths && uPlot.paths.stepped ? uPlot.paths.stepped({ align: 1 }) : undefined;
    makeChart(box, motors ? 'Motor reports' : 'Force reports',
      motors ? '(motor bytes as sent, 0-255; saturated at 254 and above, shaded)'
             : '(running force command as sent, -127..127, + comes from the right; ends of the range shaded)',
      200,
      channels.map(function (ch, i) {
        return { label: (motors ? '' : 'command ') + ch, stroke: CHANNEL_COLOURS[i][0], width: 1.5, paths: stepped };
      }),
      commands, motors ? [0, 260] : [-135, 135],
      {
        under: function (u) { shade(u, data.stretches, 'rgba(214, 39, 40, 0.13)'); },
        over: function (u) { drawLimits(u, motors ? [254] : [-127, 127]); drawReportTicks(u); },
      });

    // 2. What the device applies (force families): the sum of the lanes.
    if (!motors) {
      makeChart(box, 'Force at the device',
        '(everything the device applies: the command, its own centering, native conditions; + pushes right or down, full scale 1)',
        170,
        channels.map(function (ch, i) { return { label: 'force on ' + ch, stroke: CHANNEL_COLOURS[i][1], width: 1.5 }; }),
        channels.map(function (ch) { return decode('total.' + ch, unit); }), [-1.05, 1.05],
        { under: function (u) { shade(u, data.stretches, 'rgba(214, 39, 40, 0.10)'); } });
    }

    // 3. One lane per effect: its force alone, its play intervals and calls.
    let laneMax = motors ? 255 : 0.1;
    const lanes = data.effects.map(function (e, k) {
      const cols = channels.map(function (ch) { return decode('lane.' + k + '.' + ch, laneScale); });
      cols.forEach(function (col) {
        if (!col || motors) return;
        for (let i = 0; i < col.length; i++) laneMax = Math.max(laneMax, Math.abs(col[i]));
      });
      return cols;
    });
    laneMax *= 1.05;
    data.effects.forEach(function (e, k) {
      const colour = LANE_COLOURS[k % LANE_COLOURS.length];
      const cols = lanes[k].filter(function (c) { return c; });
      const series = lanes[k].map(function (c, i) { return c ? { label: channels[i], stroke: i ? '#666' : colour, width: 1.5 } : null; })
        .filter(function (s) { return s; });
      makeChart(box, e.name, '(' + e.type + (summary.attributed ? '; alone, less the device\'s own forces' : '') +
        '; shaded while it plays; D download, U update, \u25B6 start, \u25A0 stop, \u2715 destroy)', 90,
        series, cols, motors ? [0, 260] : [-laneMax, laneMax],
        {
          under: function (u) { shade(u, e.intervals, 'rgba(44, 160, 44, 0.13)'); },
          over: function (u) { drawMarks(u, k); },
        }, 'lane');
    });

    // 4. What does not come from one effect alone.
    if (summary.attributed) {
      const series = [], cols = [];
      channels.forEach(function (ch, i) {
        series.push({ label: 'own ' + ch, stroke: i ? '#9edae5' : '#17becf', width: 1.5 });
        cols.push(decode('own.' + ch, laneScale));
        series.push({ label: 'not added up ' + ch, stroke: i ? '#ff9896' : '#d62728', width: 1.5 });
        cols.push(decode('rest.' + ch, laneScale));
      });
      makeChart(box, 'Device\'s own and not added up',
        '(own: what the device does with every effect muted, such as its centering spring; not added up: the whole ' +
        'less the own forces and every lane: what clipping, the strength setting\'s force curve and effects that do ' +
        'not simply add took away or put in)', 110,
        series, cols, motors ? undefined : [-laneMax, laneMax],
        { under: function (u) { shade(u, data.stretches, 'rgba(214, 39, 40, 0.10)'); } }, 'lane');
    }

    // 5. Where the wheel or stick was.
    if (!motors) {
      makeChart(box, 'Position', '(-1 full left or up, +1 full right or down)', 120,
        channels.map(function (ch, i) { return { label: 'position ' + ch, stroke: i ? '#bcbd22' : '#2ca02c', width: 1.5 }; }),
        channels.map(function (ch) { return decode('position.' + ch, unit); }), [-1.05, 1.05], {});
    }
    setView(0, duration);
    window.addEventListener('resize', function () {
      const w = chartWidth();
      charts.concat([overview]).forEach(function (u) { u.setSize({ width: w, height: u.height }); });
    });
  }

  // ---------------------------------------------------------------- errors

  window.ffplayShowErrors = function () {
    const list = document.getElementById('errors');
    list.textContent = '';
    window.ffplayErrors.forEach(function (text) { list.appendChild(el('li', {}, text)); });
    list.hidden = window.ffplayErrors.length === 0;
  };

  // A measured sequence of zooms and pans over the whole run, for the
  // benchmark: report.html#bench. uPlot draws in a microtask after each
  // change, so each step waits for its drawing before the next.
  async function bench() {
    const steps = 12;
    const t0 = performance.now();
    for (let i = 0; i < steps; i++) {
      if (i % 3 === 0) zoom(0.25, duration * (i + 1) / (steps + 1));
      else if (i % 3 === 1) pan(0.5);
      else setView(0, duration);
      await Promise.resolve();
      await Promise.resolve();
    }
    document.body.setAttribute('data-view-change-ms', ((performance.now() - t0) / steps).toFixed(1));
  }

  // report.html#selftest: what a test cannot do from outside the page. It
  // zooms and pans, hovers the first clipped report (or the first report)
  // and turns the mouse wheel there, and notes what the page showed.
  async function selftest() {
    await bench();
    setView(0, duration);
    await Promise.resolve();
    if (!reports.t.length) return;
    const u = charts[0];
    let i = reports.k.findIndex(function (k) { return k === 2 || k === 4; });
    if (i < 0) i = 0;
    const rect = u.over.getBoundingClientRect();
    const at = { clientX: rect.left + u.valToPos(reports.t[i], 'x'), clientY: rect.top + rect.height / 2, bubbles: true };
    u.over.dispatchEvent(new MouseEvent('mousemove', at));
    document.body.setAttribute('data-hover-text', tooltip.hidden ? '' : tooltip.textContent);
    u.over.dispatchEvent(new WheelEvent('wheel', Object.assign({ deltaY: -120, cancelable: true }, at)));
    await Promise.resolve();
    document.body.setAttribute('data-view', Math.round(view.min) + '-' + Math.round(view.max));
  }

  renderSummary();
  renderCharts();
  window.ffplayShowErrors();
  document.body.setAttribute('data-script-ms', (performance.now() - started).toFixed(1));
  document.body.setAttribute('data-load-ms', performance.now().toFixed(1));
  document.body.setAttribute('data-charts', String(charts.length));
  const done = function () { document.body.setAttribute('data-state', 'ready'); };
  if (location.hash === '#bench') bench().then(done);
  else if (location.hash === '#selftest') selftest().then(done);
  else done();
})();
