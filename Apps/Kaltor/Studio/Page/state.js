// The one state that all views read: the document with its history, what is selected, and where the playhead stands.

export const getAt = (tree, path) => path.reduce((node, key) => (node === null || node === undefined ? undefined : node[key]), tree);

/** A copy of `tree` that differs at `path` only; undefined takes a key out. What is not on the way is shared. */
export function setAt(tree, path, value) {
    if (path.length === 0) return value;
    const [key, ...rest] = path;
    const copy = Array.isArray(tree) ? [...tree] : { ...(tree ?? (typeof key === "number" ? [] : {})) };
    const next = setAt(copy[key], rest, value);
    if (next === undefined) {
        if (Array.isArray(copy)) copy.splice(key, 1);
        else delete copy[key];
    } else {
        copy[key] = next;
    }
    return copy;
}

export const insertAt = (tree, path, index, item) => {
    const list = [...(getAt(tree, path) ?? [])];
    list.splice(index, 0, item);
    return setAt(tree, path, list);
};

export function moveIn(tree, path, from, to) {
    const list = [...getAt(tree, path)];
    list.splice(to, 0, ...list.splice(from, 1));
    return setAt(tree, path, list);
}

export const samePath = (a, b) => a === b || (Boolean(a) && Boolean(b) && a.length === b.length && a.every((key, i) => key === b[i]));
export const pointer = (path) => path.map((key) => `/${key}`).join("");
export const pathOf = (text) => text.split("/").slice(1).map((key) => (/^\d+$/.test(key) ? Number(key) : key));

export class State {
    #values;
    #listeners = [];
    #changed = new Set();
    #undo = [];
    #redo = [];
    #gesture = null;

    constructor(values) {
        this.#values = { document: { version: 1, clips: [] }, selection: null, time: 0, saved: null, ...values };
    }

    get(key) {
        return this.#values[key];
    }
    get document() {
        return this.#values.document;
    }

    /** Calls `action` after any of these have changed, once for all that changed together. */
    on(keys, action) {
        this.#listeners.push({ keys: new Set(keys), action });
    }

    set(values) {
        for (const [key, value] of Object.entries(values)) {
            if (this.#values[key] === value) continue;
            this.#values[key] = value;
            if (this.#changed.size === 0) queueMicrotask(() => this.#tell());
            this.#changed.add(key);
        }
    }

    #tell() {
        const changed = this.#changed;
        this.#changed = new Set();
        for (const { keys, action } of this.#listeners) {
            if ([...changed].some((key) => keys.has(key))) action(changed);
        }
    }

    /**
     * Changes the document. `what` is the step's name for people. Steps of one `gesture`, such as the drag of a slider, are
     * one step of the history, until another one begins or `endGesture` is called.
     */
    change(what, recipe, { gesture = null, select } = {}) {
        const before = this.document;
        const after = recipe(before);
        if (after === before || JSON.stringify(after) === JSON.stringify(before)) return false;
        if (gesture === null || gesture !== this.#gesture) {
            this.#undo.push({ document: before, selection: this.get("selection"), what });
        }
        this.#gesture = gesture;
        this.#redo.length = 0;
        this.set({ document: after, history: {}, ...(select === undefined ? {} : { selection: select }) });
        return true;
    }

    endGesture() {
        this.#gesture = null;
    }

    /** Takes the steps of a gesture back as if it had not been. */
    cancelGesture(gesture) {
        if (this.#gesture !== gesture) return;
        const step = this.#undo.pop();
        this.#gesture = null;
        this.set({ document: step.document, history: {} });
    }

    get undoStep() {
        return this.#undo.at(-1)?.what ?? null;
    }
    get redoStep() {
        return this.#redo.at(-1)?.what ?? null;
    }

    undo() {
        return this.#step(this.#undo, this.#redo);
    }
    redo() {
        return this.#step(this.#redo, this.#undo);
    }

    #step(from, to) {
        const step = from.pop();
        if (!step) return null;
        this.#gesture = null;
        to.push({ document: this.document, selection: this.get("selection"), what: step.what });
        const selection = step.selection && getAt(step.document, step.selection) !== undefined ? step.selection : null;
        this.set({ document: step.document, selection, history: {} });
        return step.what;
    }

    /** Begins with another document: the history is that one's. */
    open(document, values = {}) {
        this.#undo.length = 0;
        this.#redo.length = 0;
        this.#gesture = null;
        this.set({ document, saved: document, selection: null, time: 0, history: {}, ...values });
    }
}
