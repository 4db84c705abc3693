// Small help with elements. Styles are set as properties: the page's content policy forbids style attributes.

/** Makes an element. Properties: class, dataset, style (an object), on* handlers, and attributes; null and false are left out. */
export function h(tag, props = null, ...children) {
    const element = document.createElement(tag);
    for (const [key, value] of Object.entries(props ?? {})) {
        if (value === null || value === undefined || value === false) continue;
        if (key === "class") element.className = value;
        else if (key === "dataset") Object.assign(element.dataset, value);
        else if (key === "style") setStyle(element, value);
        else if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
        else if (key === "value" || key === "checked" || key === "disabled" || key === "hidden" || key === "indeterminate") element[key] = value;
        else element.setAttribute(key, value === true ? "" : String(value));
    }
    append(element, children);
    return element;
}

function append(element, children) {
    for (const child of children) {
        if (child === null || child === undefined || child === false) continue;
        if (Array.isArray(child)) append(element, child);
        else element.append(child);
    }
}

export function setStyle(element, style) {
    for (const [key, value] of Object.entries(style)) {
        if (key.startsWith("--")) element.style.setProperty(key, value);
        else element.style[key] = value;
    }
}

const kSvg = "http://www.w3.org/2000/svg";

/** The same for SVG. */
export function s(tag, attributes = {}, ...children) {
    const element = document.createElementNS(kSvg, tag);
    for (const [key, value] of Object.entries(attributes)) {
        if (value === null || value === undefined || value === false) continue;
        if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
        else element.setAttribute(key, String(value));
    }
    append(element, children);
    return element;
}

export const clamp = (value, least, most) => Math.min(Math.max(value, least), most);

/** One call for many in the same frame of the screen. */
export function perFrame(action) {
    let isAsked = false;
    return () => {
        if (isAsked) return;
        isAsked = true;
        requestAnimationFrame(() => {
            isAsked = false;
            action();
        });
    };
}

/** Calls later, once, when nothing more came for so many milliseconds. */
export function later(milliseconds, action) {
    let timer = 0;
    return (...values) => {
        clearTimeout(timer);
        timer = setTimeout(() => action(...values), milliseconds);
    };
}

/** Follows a pointer from its press to its release. `move` gets the way since the press; Escape ends with `cancel`. */
export function drag(event, { move, end, cancel, threshold = 0 }) {
    const from = { x: event.clientX, y: event.clientY };
    const target = event.currentTarget;
    const pointer = event.pointerId;
    let isMoving = threshold === 0;
    const stop = new AbortController();
    const listen = (name, action) => window.addEventListener(name, action, { signal: stop.signal, capture: true });
    const finish = (action, late) => {
        stop.abort();
        if (target.hasPointerCapture?.(pointer)) target.releasePointerCapture(pointer);
        document.documentElement.classList.remove("dragging");
        action?.(late, isMoving);
    };
    document.documentElement.classList.add("dragging");
    try {
        target.setPointerCapture?.(pointer);
    } catch {
        // A pointer that is gone already: the listeners on the window are enough.
    }
    listen("pointermove", (late) => {
        if (late.pointerId !== pointer) return;
        const way = { x: late.clientX - from.x, y: late.clientY - from.y };
        if (!isMoving && Math.hypot(way.x, way.y) < threshold) return;
        isMoving = true;
        late.preventDefault();
        move(way.x, way.y, late);
    });
    listen("pointerup", (late) => late.pointerId === pointer && finish(end, late));
    listen("pointercancel", (late) => late.pointerId === pointer && finish(cancel ?? end, late));
    listen("keydown", (late) => {
        if (late.key !== "Escape") return;
        late.preventDefault();
        late.stopPropagation();
        finish(cancel ?? end, late);
    });
}

export const store = {
    get(key, otherwise = null) {
        try {
            const text = localStorage.getItem(`kaltor-${key}`);
            return text === null ? otherwise : JSON.parse(text);
        } catch {
            return otherwise;
        }
    },
    set(key, value) {
        try {
            localStorage.setItem(`kaltor-${key}`, JSON.stringify(value));
        } catch {
            // The page works without memory.
        }
    },
};

export async function copyText(text) {
    try {
        await navigator.clipboard.writeText(text);
        return true;
    } catch {
        const area = h("textarea", { class: "hidden", value: text });
        (document.querySelector("dialog[open]") ?? document.body).append(area);
        area.select();
        const isDone = document.execCommand("copy");
        area.remove();
        return isDone;
    }
}
