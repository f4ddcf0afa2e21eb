'use strict';

const {spawn} = require('child_process');
const readline = require('readline');

const START_DEADLINE_MS = 60000;
const STOP_DEADLINE_MS = 20000;

function withDeadline(promise, milliseconds, what) {
    let timer;
    const deadline = new Promise((_, reject) => {
        timer = setTimeout(() => reject(new Error(`${what}: no result in ${milliseconds} ms`)),
                           milliseconds);
    });
    return Promise.race([promise, deadline]).finally(() => clearTimeout(timer));
}

/** A running simulator; `cameras` holds what it announced, `announcement` its last line. */
class Devsim {
    static async start(binary, args, family = 'onvif') {
        const sim = new Devsim(spawn(binary, [family, ...args],
                                     {stdio: ['ignore', 'pipe', 'inherit']}));
        await withDeadline(sim.ready(), START_DEADLINE_MS, 'start of the simulator');
        return sim;
    }

    constructor(process) {
        this.process = process;
        this.cameras = [];
        this.announcement = null;
        this.ended = new Promise(resolve => process.on('exit', resolve));
        process.on('error', () => {});
    }

    async ready() {
        for await (const line of readline.createInterface({input: this.process.stdout})) {
            const message = JSON.parse(line);
            if (message.ready) {
                this.announcement = message;
                return;
            }
            this.cameras.push(message);
        }
        throw new Error('the simulator ended before it was ready');
    }

    /** @returns {Promise<number>} exit code */
    async stop() {
        this.process.kill('SIGTERM');
        try {
            return await withDeadline(this.ended, STOP_DEADLINE_MS, 'end of the simulator');
        } catch (error) {
            this.process.kill('SIGKILL');
            throw error;
        }
    }
}

module.exports = {Devsim, withDeadline};
