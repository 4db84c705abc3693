// Pictures of the plan: asked for newest first, kept in a bounded cache, fetched ahead while the video plays, and shown by
// the clock of its sound.
import { fetchFrame, fetchSound } from "./api.js";

const kCacheBytes = 192 << 20;
const kAtOnce = 2;      // requests that are under way together
const kAheadSeconds = 1.6;
const kSoundSeconds = 4;

export class Player {
    #state;
    #show;
    #problem;
    #cache = new Map();
    #bytes = 0;
    #running = 0;
    #wanted = null;
    #newest = 0;
    #drawn = 0;
    #play = null;
    #context = null;
    #gain = null;

    #forgotten;

    /** `show` gets a picture and its frame's number, `problem` an error or null; `forgotten` asks for the plan anew. */
    constructor(state, show, problem, forgotten) {
        this.#forgotten = forgotten;
        this.#state = state;
        this.#show = show;
        this.#problem = problem;
        this.volume = 1;
    }

    get rate() {
        const [number, parts] = this.#state.get("plan")?.rate ?? [25, 1];
        return number / parts;
    }
    frameAt(seconds) {
        const frames = this.#state.get("plan")?.frames ?? 1;
        return Math.min(Math.max(Math.floor(seconds * this.rate + 1e-4), 0), Math.max(0, frames - 1));
    }

    #key(plan, width, frame) {
        return `${plan}/${width}/${frame}`;
    }

    #keep(key, picture) {
        if (this.#cache.has(key)) return;
        this.#cache.set(key, picture);
        this.#bytes += picture.width * picture.height * 4;
        while (this.#bytes > kCacheBytes && this.#cache.size > 1) {
            const [oldest, old] = this.#cache.entries().next().value;
            this.#cache.delete(oldest);
            this.#bytes -= old.width * old.height * 4;
            old.close();
        }
    }

    #recall(key) {
        const picture = this.#cache.get(key);
        if (!picture) return null;
        this.#cache.delete(key);
        this.#cache.set(key, picture);
        return picture;
    }

    /** Shows the picture at the playhead as soon as it is there; what was asked for before need not come any more. */
    refresh() {
        const plan = this.#state.get("plan");
        if (!plan || this.#play) return;
        const frame = this.frameAt(this.#state.get("time"));
        const width = this.#state.get("width");
        const key = this.#key(plan.plan, width, frame);
        const cached = this.#recall(key);
        const order = ++this.#newest;
        if (cached) {
            this.#wanted = null;
            this.#drawn = order;
            this.#show(cached, frame);
            return;
        }
        this.#wanted = { plan: plan.plan, frame, width, key, order };
        this.#pump();
    }

    async #pump() {
        if (!this.#wanted || this.#running >= kAtOnce) return;
        const job = this.#wanted;
        this.#wanted = null;
        ++this.#running;
        this.#state.set({ isLoading: true });
        try {
            const picture = await createImageBitmap(await fetchFrame(job.plan, job.frame, job.width));
            this.#keep(job.key, picture);
            if (job.order > this.#drawn && !this.#play) {
                this.#drawn = job.order;
                this.#show(picture, job.frame);
            }
            this.#problem(null);
        } catch (error) {
            // A newer picture was asked for, or the plan is no longer the one that is seen.
            const isOld = error.status === 409 || job.order < this.#newest || this.#state.get("plan")?.plan !== job.plan;
            if (error.status === 404 && !isOld) this.#forgotten();
            else if (!isOld) this.#problem(error);
        } finally {
            --this.#running;
            if (this.#running === 0 && !this.#wanted) this.#state.set({ isLoading: false });
            this.#pump();
        }
    }

    toggle() {
        if (this.#play) this.pause();
        else this.play();
    }

    async play() {
        const plan = this.#state.get("plan");
        if (!plan || plan.frames < 2 || this.#play) return;
        if (this.frameAt(this.#state.get("time")) >= plan.frames - 1) this.#state.set({ time: 0 });
        const play = {
            plan,
            width: this.#state.get("width"),
            from: this.#state.get("time"),
            stop: new AbortController(),
            stride: 1,
            next: this.frameAt(this.#state.get("time")),
            last: -1,
            running: 0,
            origin: null,
            late: 0,
            onTime: 0,
            shown: 0,
        };
        this.#play = play;
        this.#wanted = null;
        this.#state.set({ playing: true });
        if (plan.sound) {
            this.#context ??= new AudioContext({ sampleRate: 48000 });
            if (!this.#gain) {
                this.#gain = this.#context.createGain();
                this.#gain.connect(this.#context.destination);
            }
            this.#gain.gain.value = this.volume;
            // A browser may refuse to make a sound before someone has touched the page; the picture plays all the same.
            await Promise.race([this.#context.resume(), new Promise((resolve) => setTimeout(resolve, 300))]);
        }
        if (this.#play !== play) return;
        play.hasSound = plan.sound && this.#context.state === "running";
        this.#fill(play);
        const sound = play.hasSound ? this.#sound(play, play.from, null) : null;
        await Promise.race([Promise.all([this.#ahead(play, 6), sound]), new Promise((resolve) => setTimeout(resolve, 2500))]);
        if (this.#play !== play) return;
        play.origin = play.hasSound ? this.#context.currentTime + 0.06 : performance.now() / 1000;
        if (play.first) this.#startSound(play, play.first, play.from);
        this.#tick(play);
    }

    #clock(play) {
        const now = play.hasSound ? this.#context.currentTime : performance.now() / 1000;
        return play.from + Math.max(0, now - play.origin);
    }

    #ahead(play, count) {
        return new Promise((resolve) => {
            const look = () => {
                const isReady = [...Array(count).keys()].every((i) => {
                    const frame = this.frameAt(play.from) + i * play.stride;
                    return frame >= play.plan.frames || this.#cache.has(this.#key(play.plan.plan, play.width, frame));
                });
                if (isReady || this.#play !== play) resolve();
                else setTimeout(look, 15);
            };
            look();
        });
    }

    #fill(play) {
        if (this.#play !== play) return;
        const now = play.origin === null ? play.from : this.#clock(play);
        const most = Math.min(play.plan.frames - 1, this.frameAt(now + kAheadSeconds));
        // What could not be ready in time is not asked for.
        if (play.origin !== null) play.next = Math.max(play.next, this.frameAt(now) + Math.ceil(play.stride / 2));
        while (play.running < 3 && play.next <= most) {
            const frame = play.next;
            play.next += play.stride;
            const key = this.#key(play.plan.plan, play.width, frame);
            if (this.#cache.has(key)) continue;
            ++play.running;
            fetchFrame(play.plan.plan, frame, play.width, play.stop.signal, false)
                .then(createImageBitmap)
                .then((picture) => this.#keep(key, picture))
                .catch((error) => {
                    if (error.name !== "AbortError" && this.#play === play) {
                        this.pause();
                        this.#problem(error);
                    }
                })
                .finally(() => {
                    --play.running;
                    this.#fill(play);
                });
        }
    }

    async #sound(play, from, whenReady) {
        const to = Math.min(play.plan.seconds, from + kSoundSeconds);
        if (to - from < 0.01) return;
        try {
            const buffer = await this.#context.decodeAudioData(await fetchSound(play.plan.plan, from, to, play.stop.signal));
            if (this.#play !== play) return;
            if (play.origin === null) play.first = buffer;
            else this.#startSound(play, buffer, from);
        } catch (error) {
            if (error.name !== "AbortError") play.hasSoundFailed = true;
        }
    }

    #startSound(play, buffer, from) {
        const source = this.#context.createBufferSource();
        source.buffer = buffer;
        source.connect(this.#gain);
        const at = play.origin + (from - play.from);
        const late = Math.max(0, this.#context.currentTime - at);
        if (late < buffer.duration) source.start(Math.max(at, this.#context.currentTime), late);
        (play.sources ??= new Set()).add(source);
        source.onended = () => play.sources.delete(source);
        const next = from + buffer.duration;
        const wait = Math.max(0, next - this.#clock(play) - 2.5) * 1000;
        play.timer = setTimeout(() => this.#play === play && this.#sound(play, next), wait);
    }

    #tick(play) {
        if (this.#play !== play) return;
        const { plan } = play;
        const seconds = this.#clock(play);
        const frame = Math.floor(seconds * this.rate + 1e-4);
        if (frame >= plan.frames) {
            this.#state.set({ time: (plan.frames - 1) / this.rate });
            this.pause();
            return;
        }
        if (frame !== play.last) {
            // The newest picture that is there; a slow machine leaves some out.
            for (let n = frame; n > Math.max(play.last, frame - Math.max(4, 2 * play.stride)); --n) {
                const picture = this.#recall(this.#key(plan.plan, play.width, n));
                if (!picture) continue;
                this.#show(picture, n);
                ++play.shown;
                play.onTime += n > frame - play.stride ? 1 : 0;
                break;
            }
            const hasPicture = this.#cache.has(this.#key(plan.plan, play.width, frame - (frame - this.frameAt(play.from)) % play.stride));
            play.late = hasPicture ? Math.max(0, play.late - 0.25) : play.late + 1;
            if (play.late > 6 && play.stride < 8) {
                ++play.stride;
                play.late = 0;
                play.next = frame + play.stride * 2;
            }
            play.last = frame;
            this.#state.set({ time: Math.min(seconds, (plan.frames - 1) / this.rate), dropped: play.stride > 1 });
        }
        this.#fill(play);
        requestAnimationFrame(() => this.#tick(play));
    }

    pause() {
        const play = this.#play;
        if (!play) return;
        this.#play = null;
        play.stop.abort();
        clearTimeout(play.timer);
        for (const source of play.sources ?? []) source.stop();
        const rate = this.rate;
        this.#state.set({ playing: false, dropped: false, time: this.frameAt(this.#state.get("time")) / rate });
        this.refresh();
    }

    setVolume(volume) {
        this.volume = volume;
        if (this.#gain) this.#gain.gain.value = volume;
    }
}
