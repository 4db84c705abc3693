// Easings and curves as the program has them, so that the page can draw them and knows a field's value at the playhead.

const kBack = 1.70158;
const bounceOut = (x) => {
    const [at, rest] = x < 1 / 2.75 ? [0, 0] : x < 2 / 2.75 ? [1.5, 0.75] : x < 2.5 / 2.75 ? [2.25, 0.9375] : [2.625, 0.984375];
    const t = x - at / 2.75;
    return 7.5625 * t * t + rest;
};
const kIn = {
    Sine: (x) => 1 - Math.cos((x * Math.PI) / 2),
    Quad: (x) => x ** 2,
    Cubic: (x) => x ** 3,
    Quart: (x) => x ** 4,
    Quint: (x) => x ** 5,
    Expo: (x) => (x <= 0 ? 0 : 2 ** (10 * x - 10)),
    Circ: (x) => 1 - Math.sqrt(1 - x * x),
    Back: (x) => (kBack + 1) * x ** 3 - kBack * x * x,
    Elastic: (x) => (x <= 0 || x >= 1 ? x : -(2 ** (10 * x - 10)) * Math.sin(((x * 10 - 10.75) * 2 * Math.PI) / 3)),
    Bounce: (x) => 1 - bounceOut(1 - x),
};
const inOut = (f) => (x) => (x < 0.5 ? f(2 * x) / 2 : 1 - f(2 - 2 * x) / 2);
const kInOut = {
    Back: inOut((t) => t * t * ((kBack * 1.525 + 1) * t - kBack * 1.525)),
    Elastic(x) {
        if (x <= 0 || x >= 1) return x;
        const wave = Math.sin(((20 * x - 11.125) * 2 * Math.PI) / 4.5);
        return x < 0.5 ? (-(2 ** (20 * x - 10)) * wave) / 2 : (2 ** (-20 * x + 10) * wave) / 2 + 1;
    },
};
const kBezier = { ease: [0.25, 0.1, 0.25, 1], "ease-in": [0.42, 0, 1, 1], "ease-out": [0, 0, 0.58, 1], "ease-in-out": [0.42, 0, 0.58, 1] };

export const kEasings = [
    "linear", "hold", "smooth", "ease", "ease-in", "ease-out", "ease-in-out",
    ...Object.keys(kIn).flatMap((name) => [`easeIn${name}`, `easeOut${name}`, `easeInOut${name}`]),
    "step-start", "step-end",
];

/** The four numbers of a cubic Bezier easing, or null. A straight line is one, too. */
export function bezierOf(name) {
    if (!name || name === "linear") return [0.25, 0.25, 0.75, 0.75];
    if (kBezier[name]) return kBezier[name];
    const found = /^cubic-bezier\(([^)]*)\)$/.exec(String(name).replaceAll(" ", ""));
    const points = found?.[1].split(",").map(Number);
    return points?.length === 4 && points.every(Number.isFinite) ? points : null;
}

function solveBezier([x1, y1, x2, y2], x) {
    const at = (a, b, t) => 3 * (1 - t) ** 2 * t * a + 3 * (1 - t) * t * t * b + t ** 3;
    let [low, high] = [0, 1];
    for (let i = 0; i < 30; ++i) {
        const middle = (low + high) / 2;
        if (at(x1, x2, middle) < x) low = middle;
        else high = middle;
    }
    return at(y1, y2, (low + high) / 2);
}

function solveSteps(count, jump, x) {
    const atStart = jump === "start" || jump === "jump-start" || jump === "jump-both";
    const total = jump === "jump-none" ? count - 1 : jump === "jump-both" ? count + 1 : count;
    const step = Math.floor(x * count) + (atStart ? 1 : 0);
    return Math.min(Math.max(step, 0), total) / total;
}

/** An easing as a function from 0..1. An unknown one goes evenly. */
export function easingOf(name) {
    const text = String(name ?? "linear").replaceAll(" ", "");
    if (text === "linear" || text === "smooth") return (x) => x;
    if (text === "hold") return () => 0;
    if (text === "step-start") return (x) => solveSteps(1, "start", x);
    if (text === "step-end") return (x) => solveSteps(1, "end", x);
    const steps = /^steps\((\d+)(?:,([a-z-]+))?\)$/.exec(text);
    if (steps) return (x) => solveSteps(Number(steps[1]), steps[2] ?? "end", x);
    const bezier = kBezier[text] ?? (text.startsWith("cubic-bezier") ? bezierOf(text) : null);
    if (bezier) return (x) => solveBezier(bezier, x);
    const penner = /^ease(In|Out|InOut)([A-Z][a-z]+)$/.exec(text);
    const base = penner && kIn[penner[2]];
    if (!base) return (x) => x;
    if (penner[1] === "In") return base;
    if (penner[1] === "Out") return (x) => 1 - base(1 - x);
    return kInOut[penner[2]] ?? inOut(base);
}

export const isCurve = (value) => value !== null && typeof value === "object" && !Array.isArray(value) && ("keys" in value || "from" in value);

const hex = (text) => {
    const digits = String(text).slice(1);
    return [0, 2, 4, 6].map((i) => (i < digits.length ? parseInt(digits.slice(i, i + 2), 16) : 255));
};
export const toNumbers = (value) => (Array.isArray(value) ? value : typeof value === "string" && value.startsWith("#") ? hex(value) : [Number(value)]);
export function fromNumbers(numbers, like) {
    if (Array.isArray(like)) return numbers;
    if (typeof like === "string" && like.startsWith("#")) {
        const digits = numbers.map((n) => Math.round(Math.min(Math.max(n, 0), 255)).toString(16).padStart(2, "0").toUpperCase());
        return `#${(digits[3] === "FF" ? digits.slice(0, 3) : digits).join("")}`;
    }
    return numbers[0];
}

/** A curve as points in seconds: {time, value, easing, index}. `resolve` makes seconds of a time. */
export function pointsOf(curve, span, resolve) {
    const keys = curve.keys ?? [[0, curve.from, curve.easing], [span, curve.to]];
    return keys
        .map(([time, value, easing], index) => ({ time: typeof time === "number" ? time : resolve(time, span), value, easing: easing ?? "linear", index }))
        .sort((a, b) => a.time - b.time);
}

function slopes(points, component) {
    return points.map((point, i) => {
        const [before, after] = [points[i - 1], points[i + 1]];
        if (!before || !after || before.easing !== "smooth" || point.easing !== "smooth") return 0;
        const [h0, h1] = [point.time - before.time, after.time - point.time];
        const value = (p) => toNumbers(p.value)[component];
        const [rise, next] = [(value(point) - value(before)) / h0, (value(after) - value(point)) / h1];
        if (rise * next <= 0) return 0;
        const [w1, w2] = [2 * h1 + h0, h1 + 2 * h0];
        return (w1 + w2) / (w1 / rise + w2 / next);
    });
}

/** The value at a time in seconds. */
export function sample(points, seconds) {
    const next = points.findIndex((point) => point.time > seconds);
    if (next === 0 || points.length === 1) return points[0].value;
    if (next < 0) return points.at(-1).value;
    const [from, to] = [points[next - 1], points[next]];
    const [a, b] = [toNumbers(from.value), toNumbers(to.value)];
    const length = to.time - from.time;
    const x = (seconds - from.time) / length;
    const ease = easingOf(from.easing);
    const values = a.map((start, component) => {
        if (from.easing !== "smooth") return start + (b[component] - start) * ease(x);
        const slope = slopes(points, component);
        const [x2, x3] = [x * x, x * x * x];
        return (
            (2 * x3 - 3 * x2 + 1) * start + (x3 - 2 * x2 + x) * length * slope[next - 1] +
            (3 * x2 - 2 * x3) * b[component] + (x3 - x2) * length * slope[next]
        );
    });
    return fromNumbers(values, from.value);
}
