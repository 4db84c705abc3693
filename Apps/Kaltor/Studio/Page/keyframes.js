// Values that change over time: keys at the playhead, and the curve that can be dragged.
import { fromNumbers, isCurve, pointsOf, sample, toNumbers } from "./curves.js";
import { clamp, drag, h, s } from "./dom.js";
import { easing, makeControl } from "./fields.js";
import { icon } from "./icons.js";
import { parseTime, shortTime, tidy } from "./model.js";
import { strings } from "./strings.js";

const near = (a, b, rate) => Math.abs(a - b) < 0.5 / rate;

/** A curve's keys with their times in seconds. */
export const keysOf = (curve, span, rate) => pointsOf(curve, span, (time, length) => parseTime(time, length, rate));

const written = (points) => ({
    keys: [...points].sort((a, b) => a.time - b.time).map(({ time, value, easing: way }) => (way && way !== "linear" ? [tidy(time), value, way] : [tidy(time), value])),
});

/** The value at so many seconds of the span; what does not change is itself. */
export const valueAt = (value, seconds, span, rate) => (isCurve(value) ? sample(keysOf(value, span, rate), seconds) : value);

/** Puts a key there, or sets the one that is there. */
export function withKey(value, seconds, newValue, span, rate) {
    const points = isCurve(value) ? keysOf(value, span, rate) : [];
    const at = points.findIndex((point) => near(point.time, seconds, rate));
    if (at >= 0) points[at] = { ...points[at], value: newValue };
    else {
        const before = points.filter((point) => point.time < seconds).at(-1);
        points.push({ time: seconds, value: newValue, easing: before?.easing ?? points[0]?.easing ?? "linear" });
    }
    return written(points);
}

/** Takes a key away. What is left of the last one is a plain value. */
export function withoutKey(value, index, span, rate) {
    const points = keysOf(value, span, rate);
    const [gone] = points.splice(index, 1);
    return points.length ? written(points) : gone.value;
}

export const keyAt = (value, seconds, span, rate) => (isCurve(value) ? keysOf(value, span, rate).findIndex((point) => near(point.time, seconds, rate)) : -1);

const kHeight = 108;
const kPad = 10;

/** The graph of a field that changes. `field` has get() and set(value, isLive), span(), now() and rate(); times count from the span's start. */
export function makeGraph(spec, field, seek) {
    let chosen = 0;
    let width = 260;
    const graph = s("svg", { class: "curve", height: kHeight, role: "group", "aria-label": strings.keyframes.graph(spec.label) });
    const easingRow = h("div", { class: "key-row" });
    const element = h("div", { class: "curve-box" }, graph, easingRow);
    const isNumber = () => typeof toNumbers(sample(points(), 0))[0] === "number" && !String(points()[0].value).startsWith("#");
    const points = () => keysOf(field.get(), field.span(), field.rate());
    let range = [0, 1];

    function findRange() {
        const numbers = points().flatMap((point) => toNumbers(point.value));
        const [low, high] = [spec.low ?? spec.min ?? Math.min(...numbers), spec.high ?? spec.max ?? Math.max(...numbers)];
        const [least, most] = [Math.min(low, ...numbers), Math.max(high, ...numbers)];
        return least === most ? [least - 1, most + 1] : [least, most];
    }
    const toX = (time) => kPad + (time / Math.max(field.span(), 1e-6)) * (width - 2 * kPad);
    const toY = (value) => kHeight - kPad - ((value - range[0]) / (range[1] - range[0])) * (kHeight - 2 * kPad);
    const toTime = (x) => clamp(Math.round((((x - kPad) / (width - 2 * kPad)) * field.span()) * field.rate()) / field.rate(), 0, field.span());
    const toValue = (y) => {
        const value = range[0] + ((kHeight - kPad - y) / (kHeight - 2 * kPad)) * (range[1] - range[0]);
        return tidy(clamp(spec.isWhole ? Math.round(value) : value, spec.min ?? -Infinity, spec.max ?? Infinity), range[1] - range[0] > 20 ? 1 : 3);
    };

    function place(index, time, value, isLive) {
        const list = points();
        // A key stays between its neighbours.
        const gap = 1 / field.rate();
        const least = index > 0 ? list[index - 1].time + gap : 0;
        const most = index + 1 < list.length ? list[index + 1].time - gap : Math.max(field.span(), list[index].time);
        list[index] = { ...list[index], time: clamp(time, least, most), value };
        field.set(written(list), isLive);
    }

    function remove(index) {
        chosen = Math.max(0, index - 1);
        field.set(withoutKey(field.get(), index, field.span(), field.rate()), false);
    }

    function keyMark(point, index) {
        const isScalar = isNumber() && toNumbers(point.value).length === 1;
        const y = isScalar ? toY(toNumbers(point.value)[0]) : kHeight / 2;
        return s(
            "g",
            {
                class: `key${index === chosen ? " chosen" : ""}`,
                tabindex: index === chosen ? 0 : -1,
                role: "button",
                "data-key": index,
                "aria-label": strings.keyframes.key(index + 1, shortTime(point.time), String(Array.isArray(point.value) ? point.value.join(", ") : point.value)),
                transform: `translate(${toX(point.time).toFixed(1)} ${y.toFixed(1)})`,
                onpointerdown(event) {
                    event.preventDefault();
                    event.stopPropagation();
                    chosen = index;
                    const start = { x: toX(point.time), y };
                    show();
                    focus(index);
                    drag(event, {
                        threshold: 3,
                        move: (x, dy, late) =>
                            place(index, late.shiftKey && Math.abs(dy) > Math.abs(x) ? point.time : toTime(start.x + x), isScalar ? toValue(late.shiftKey && Math.abs(x) >= Math.abs(dy) ? start.y : start.y + dy) : point.value, true),
                        end: (late, isMoved) => (isMoved ? field.set(field.get(), false) : seek(point.time)),
                    });
                },
                onkeydown(event) {
                    const list = points();
                    const step = (range[1] - range[0]) / 100;
                    const own = list[index];
                    const value = toNumbers(own.value)[0];
                    const moves = {
                        ArrowLeft: () => (event.altKey ? place(index, own.time - 1 / field.rate(), own.value, true) : choose(index - 1)),
                        ArrowRight: () => (event.altKey ? place(index, own.time + 1 / field.rate(), own.value, true) : choose(index + 1)),
                        ArrowUp: () => isScalar && place(index, own.time, toValue(toY(value + step * (event.shiftKey ? 10 : 1))), true),
                        ArrowDown: () => isScalar && place(index, own.time, toValue(toY(value - step * (event.shiftKey ? 10 : 1))), true),
                        Delete: () => remove(index),
                        Backspace: () => remove(index),
                        Enter: () => seek(own.time),
                    };
                    if (!moves[event.key]) return;
                    event.preventDefault();
                    event.stopPropagation();
                    moves[event.key]();
                },
            },
            s("circle", { r: 11, class: "hit" }),
            s("path", { d: "M0-5.5L5.5 0 0 5.5-5.5 0z" }),
        );
    }

    function choose(index) {
        chosen = clamp(index, 0, points().length - 1);
        show();
        focus(chosen);
    }
    const focus = (index) => graph.querySelector(`[data-key="${index}"]`)?.focus({ preventScroll: true });

    function show() {
        if (!isCurve(field.get())) return;
        const hadFocus = graph.contains(document.activeElement) ? Number(document.activeElement.dataset?.key ?? -1) : -1;
        const list = points();
        range = findRange();
        chosen = clamp(chosen, 0, list.length - 1);
        graph.setAttribute("width", width);
        graph.setAttribute("viewBox", `0 0 ${width} ${kHeight}`);
        const parts = [s("path", { class: "grid", d: [0, 0.25, 0.5, 0.75, 1].map((share) => `M${kPad} ${(kPad + share * (kHeight - 2 * kPad)).toFixed(1)}H${width - kPad}`).join("") })];
        if (String(list[0].value).startsWith("#")) {
            const id = `gradient-${Math.random().toString(36).slice(2, 8)}`;
            const stops = Array.from({ length: 25 }, (_, i) => s("stop", { offset: i / 24, "stop-color": sample(list, (i / 24) * field.span()).slice(0, 7) }));
            parts.push(s("linearGradient", { id }, ...stops), s("rect", { x: kPad, y: kHeight / 2 - 16, width: width - 2 * kPad, height: 32, rx: 6, fill: `url(#${id})` }));
        } else {
            const count = toNumbers(list[0].value).length;
            const paths = Array.from({ length: count }, () => "");
            const steps = Math.max(40, Math.floor(width / 2));
            for (let i = 0; i <= steps; ++i) {
                const seconds = (i / steps) * field.span();
                const numbers = toNumbers(fromNumbers(toNumbers(sample(list, seconds)), count > 1 ? [] : 0));
                numbers.forEach((number, k) => (paths[k] += `${i ? "L" : "M"}${toX(seconds).toFixed(1)} ${toY(number).toFixed(1)}`));
            }
            paths.forEach((d, k) => parts.push(s("path", { class: `way way-${k % 4}`, d })));
        }
        const now = field.now();
        parts.push(s("line", { class: "now", x1: toX(clamp(now, 0, field.span())), x2: toX(clamp(now, 0, field.span())), y1: 2, y2: kHeight - 2 }));
        graph.replaceChildren(...parts, ...list.map(keyMark));
        if (hadFocus >= 0) focus(hadFocus);
        if (easingRow.dataset.for !== `${chosen}/${list.length}`) buildRow(list);
        way?.show(list[chosen].easing === "linear" ? undefined : list[chosen].easing);
        timeEntry?.show(tidy(list[chosen].time));
    }

    let way = null;
    let timeEntry = null;
    function buildRow(list) {
        easingRow.dataset.for = `${chosen}/${list.length}`;
        const isLast = chosen === list.length - 1;
        way = isLast
            ? null
            : easing({ type: "easing", label: strings.keyframes.easing, isCurve: true }, (value, isLive) => {
                  const now = points();
                  now[chosen] = { ...now[chosen], easing: value ?? "linear" };
                  field.set(written(now), isLive);
              });
        timeEntry = makeControl({ type: "time", label: strings.keyframes.time, help: "" }, (value, isLive) => {
            const own = points()[chosen];
            if (value !== undefined) place(chosen, parseTime(value, field.span(), field.rate()), own.value, isLive);
        }, { rate: field.rate, span: field.span });
        easingRow.replaceChildren(
            h(
                "div",
                { class: "key-head" },
                h("span", { class: "muted" }, strings.keyframes.keyNumber(chosen + 1, list.length)),
                timeEntry.element,
                h("button", { type: "button", class: "plain", title: strings.keyframes.previous, "aria-label": strings.keyframes.previous, onclick: () => jump(-1) }, icon("previous")),
                h("button", { type: "button", class: "plain", title: strings.keyframes.next, "aria-label": strings.keyframes.next, onclick: () => jump(1) }, icon("next")),
                h("button", { type: "button", class: "plain", title: strings.keyframes.remove, "aria-label": strings.keyframes.remove, onclick: () => remove(chosen) }, icon("trash")),
            ),
            ...(way ? [h("div", { class: "key-easing" }, h("span", { class: "label" }, strings.keyframes.easing), way.element)] : []),
        );
    }

    function jump(way2) {
        chosen = clamp(chosen + way2, 0, points().length - 1);
        seek(points()[chosen].time);
        show();
    }

    graph.addEventListener("dblclick", (event) => {
        if (event.target.closest(".key")) return;
        const box = graph.getBoundingClientRect();
        const seconds = toTime(event.clientX - box.left);
        const value = sample(points(), seconds);
        const isScalar = typeof value === "number";
        const next = withKey(field.get(), seconds, isScalar ? toValue(event.clientY - box.top) : value, field.span(), field.rate());
        chosen = next.keys.findIndex(([time]) => near(time, seconds, field.rate()));
        field.set(next, false);
    });
    new ResizeObserver(([entry]) => {
        if (entry.contentRect.width < 40 || Math.abs(entry.contentRect.width - width) < 1) return;
        width = Math.floor(entry.contentRect.width);
        show();
    }).observe(element);
    return { element, show };
}
