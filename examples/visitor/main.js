import { mountVisitorChat } from './chat.js';
import { config } from './config.js';

mountVisitorChat(document.querySelector('#visitor-chat'), config);
